#include "pellion/run/application_objects.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "host/objc/runtime_functions.h"
#include "host/phone/process.h"
#include "host/phone/system_events.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "pellion/run/stack_limit.h"
#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/dispatch.h"
#include "platform/object_messages.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Block;
using platform::BlockPtr;
using platform::Strong;
using platform::Value;

ApplicationObjects& all() { return platform::Process::shared<ApplicationObjects>(); }

/// What all objects of the application have in common; ApplicationObjects makes a subclass for the class of each.
class ApplicationObject {
 public:
  explicit ApplicationObject(std::string name) : name_(std::move(name)) {}
  [[nodiscard]] const std::string& name() const { return name_; }

  static constexpr const char* className = "object of the application";  // a name that no scenario can use
  static void defineClass(platform::ClassFace<ApplicationObject>& face) {
    face.method<&ApplicationObject::respondsToSelector>("respondsToSelector:")
        .method<&ApplicationObject::forwardingTargetForSelector>("forwardingTargetForSelector:")
        .method<&ApplicationObject::didFinishLaunching>("application:didFinishLaunchingWithOptions:");
  }

 private:
  // An interceptor is sent this message before it is called, so one that leads back to itself is detected here.
  [[nodiscard]] bool respondsToSelector(SEL selector) const {
    StackLimit::check();
    return class_respondsToSelector(object_getClass(platform::objectOf(*this)), selector) ||
           platform::respondsToSelector(all().forwardingTarget(name_).get(), selector);
  }
  [[nodiscard]] id forwardingTargetForSelector(SEL /*selector*/) const {
    return all().forwardingTarget(name_).autoreleased();
  }
  bool didFinishLaunching(id application, id /*options*/) {
    if (all().application().startsService) PLMessaging::startService();
    platform::send<void()>(application, sel_registerName("registerForRemoteNotifications"));
    return true;
  }

  std::string name_;
};

void report(std::string_view what, const std::string& name, Callback callback, const Value& answer = {}) {
  host::Process::current().report(
      "app", what, Value::dictionary({{"name", name}, {"callback", kindOf(callback).name}, {"answer", answer}}));
}

Value answerShown(Callback callback, std::uint64_t value) {
  if (callback == Callback::background) return fetchResultName(value);
  return callback == Callback::foreground ? presentationNames(value) : Value();
}

// The methods of the objects' classes.

template <Callback callback>
void isTold(id self, SEL /*selector*/, id /*application*/, id /*news*/) {
  report("called", platform::objectState<ApplicationObject>(self).name(), callback);
}

template <Callback callback, class... Answer>
void isAsked(id self, SEL /*selector*/, id /*sender*/, id /*news*/, BlockPtr<void(Answer...)> handler) {
  const std::string name = platform::objectState<ApplicationObject>(self).name();
  const Behaviour behaviour = all().behaviour(name, callback);
  report("called", name, callback);
  const auto answer = [=, block = Block<void(Answer...)>(handler)] {
    report("answered", name, callback, answerShown(callback, behaviour.value));
    block(static_cast<Answer>(behaviour.value)...);
  };
  switch (behaviour.answers) {
    case Behaviour::Answers::never: return;
    case Behaviour::Answers::later: return platform::dispatchAfterOnMainQueue(std::chrono::seconds(1), answer);
    case Behaviour::Answers::twice: answer(); [[fallthrough]];
    case Behaviour::Answers::atOnce: answer();
  }
}

struct Code {
  IMP implementation;
  const char* encoding;
};

template <class F>
Code codeOf(F function) {
  return {host::asIMP(function), platform::encodingOfFunction(function)};
}

Code codeFor(Callback callback) {
  switch (callback) {
    case Callback::token: return codeOf(isTold<Callback::token>);
    case Callback::failure: return codeOf(isTold<Callback::failure>);
    case Callback::background: return codeOf(isAsked<Callback::background, platform::UIBackgroundFetchResult>);
    case Callback::foreground:
      return codeOf(isAsked<Callback::foreground, platform::UNNotificationPresentationOptions>);
    case Callback::response: return codeOf(isAsked<Callback::response>);
  }
  return {nullptr, nullptr};
}

void addMethod(Class cls, Callback callback) {
  const Code code = codeFor(callback);
  class_addMethod(cls, sel_registerName(kindOf(callback).selector), code.implementation, code.encoding);
}

}  // namespace

Strong ApplicationObjects::object(const std::string& name) {
  Strong& object = objects_[name];
  if (object) return object;
  object =
      platform::makeObjectOfClass<ApplicationObject>(classOf(name), &platform::deallocState<ApplicationObject>, name);
  return object;
}

bool ApplicationObjects::release(const std::string& name) {
  const platform::Weak object(objects_[name].get());
  objects_.erase(name);
  return !object.load();
}

const Behaviour& ApplicationObjects::behaviour(const std::string& name, Callback callback) const {
  const auto& implements = application_->delegates.at(name).implements;
  const auto found = implements.find(callback);
  return found != implements.end() ? found->second : behaviour(next(name).value(), callback);
}

Strong ApplicationObjects::forwardingTarget(const std::string& name) {
  if (const auto& target = application_->delegates.at(name).forwardsTo) return object(*target);
  const auto& ancestor = next(name);
  return ancestor ? forwardingTarget(*ancestor) : Strong();
}

const std::optional<std::string>& ApplicationObjects::next(const std::string& name) const {
  const DelegateDescription& delegate = application_->delegates.at(name);
  return delegate.classOf ? delegate.classOf : delegate.inherits;
}

Class ApplicationObjects::classOf(const std::string& name) {
  const DelegateDescription& delegate = application_->delegates.at(name);
  if (delegate.classOf) return classOf(*delegate.classOf);
  Class& cls = classes_[name];
  if (cls != nullptr) return cls;
  const Class superclass = delegate.inherits ? classOf(*delegate.inherits) : platform::classOf<ApplicationObject>();
  cls = objc_allocateClassPair(superclass, name.c_str(), 0);
  for (const std::string& protocol : delegate.declares) class_addProtocol(cls, objc_getProtocol(protocol.c_str()));
  for (const auto& [callback, behaviour] : delegate.implements) addMethod(cls, callback);
  objc_registerClassPair(cls);
  return cls;
}

std::optional<std::string> ApplicationObjects::nameOf(id object) const {
  const auto found = std::ranges::find_if(objects_, [&](const auto& each) { return each.second.get() == object; });
  return object == nullptr || found == objects_.end() ? std::nullopt : std::optional(found->first);
}

bool isApplicationsImplementation(Callback callback, IMP implementation) {
  return codeFor(callback).implementation == implementation;
}

bool isBaseOfApplication(Class cls) { return cls == platform::classOf<ApplicationObject>(); }

void startApplication(const ApplicationDescription& application) {
  ApplicationObjects& objects = all();
  objects.describe(application);
  platform::setDelegate(host::currentNotificationCenter(), objects.object(application.notificationDelegate).get());
  host::startApplication(objects.object(application.delegate));
  if (!application.delegate && application.startsService) PLMessaging::startService();
}

}  // namespace pellion

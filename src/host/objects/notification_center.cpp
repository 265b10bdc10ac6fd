#include "platform/notification_center.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/objc/objc_runtime.h"
#include "host/objc/object_variable.h"
#include "platform/process.h"
#include "platform/send.h"
#include "services/notification_registration.h"

namespace host {
namespace {

using Registration = services::NotificationRegistration;

struct Notification {
  std::string name;
  platform::Strong object;
  platform::Strong userInfo;

  static id nameOf(id self, SEL) { return platform::boxed(state(self).name); }
  static id objectOf(id self, SEL) { return state(self).object.get(); }
  static id userInfoOf(id self, SEL) { return state(self).userInfo.get(); }
  static Notification& state(id self) { return variableOf<Notification>(self); }
};

struct Center {
  std::mutex mutex;
  std::vector<std::shared_ptr<Registration>> registrations;

  static Center& current() { return platform::Process::shared<Center>(); }

  /// The caller destroys the result outside the lock, because ending weak references takes other locks.
  template <class Test>
  std::vector<std::shared_ptr<Registration>> remove(Test test) {
    const std::lock_guard lock(mutex);
    const auto kept = std::stable_partition(registrations.begin(), registrations.end(),
                                            [&](const auto& each) { return !test(*each); });
    std::vector removed(std::make_move_iterator(kept), std::make_move_iterator(registrations.end()));
    registrations.erase(kept, registrations.end());
    for (const auto& each : removed) each->isRemoved = true;
    return removed;
  }
};

}  // namespace

void defineNotificationClass(Runtime& runtime) {
  runtime.notification = runtime.allocateClassPair(runtime.object, "NSNotification");
  addVariable<Notification>(runtime.notification);
  platform::ClassFace<Notification>(runtime.notification)
      .method<Notification::nameOf>("name")
      .method<Notification::objectOf>("object")
      .method<Notification::userInfoOf>("userInfo");
  runtime.registerClassPair(runtime.notification);
}

}  // namespace host

namespace platform::NotificationCenter {

void addObserver(id observer, SEL selector, std::string_view name, id sender) {
  if (observer == nullptr) return;
  auto registration = std::make_shared<host::Registration>(observer, selector, name, sender);
  host::Center& center = host::Center::current();
  std::vector<Strong> alive;  // outlives the lock: the last release deallocates, which may remove observers
  center.remove([&](const auto& each) { return !alive.emplace_back(each.observer.load()); });
  const std::lock_guard lock(center.mutex);
  center.registrations.push_back(std::move(registration));
}

void removeObserver(id observer) {
  host::Center::current().remove([observer](const auto& each) { return each.identity == observer; });
}

void postNotificationName(std::string_view name, id object, id userInfo) {
  host::Center& center = host::Center::current();
  std::vector<std::shared_ptr<host::Registration>> receivers;
  {
    const std::lock_guard lock(center.mutex);
    std::copy_if(center.registrations.begin(), center.registrations.end(), std::back_inserter(receivers),
                 [&](const auto& each) { return each->name == name; });
  }
  const platform::AutoreleasePool pool;
  const Strong notification = Strong::adopt(class_createInstance(host::Runtime::current().notification, 0));
  new (&host::Notification::state(notification.get())) host::Notification{std::string(name), object, userInfo};
  for (const auto& each : receivers) {
    const Strong observer = each->observer.load();
    if (observer && !each->isRemoved && each->accepts(object)) {
      send<void(id)>(observer.get(), each->selector, notification.get());
    }
  }
}

}  // namespace platform::NotificationCenter

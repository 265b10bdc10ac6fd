#include "host/phone/ui_application.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/objc/objc_runtime.h"
#include "host/objects/nsurl.h"
#include "host/phone/process.h"
#include "platform/object_messages.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/value.h"
#include "services/url_components.h"

namespace host {

using platform::Value;

namespace {

struct Badge {
  std::atomic<std::int64_t> number = 0;  // the application may set it from any thread
};

// The delegate's optional methods that this phone calls.
constexpr MethodDeclaration applicationDelegateMethods[] = {
    {"application:didFinishLaunchingWithOptions:", platform::methodEncoding<bool, id, id>.data()},
    {"applicationDidBecomeActive:", platform::methodEncoding<void, id>.data()},
    {"application:didRegisterForRemoteNotificationsWithDeviceToken:", platform::methodEncoding<void, id, id>.data()},
    {"application:didFailToRegisterForRemoteNotificationsWithError:", platform::methodEncoding<void, id, id>.data()},
    {"application:didReceiveRemoteNotification:fetchCompletionHandler:",
     platform::methodEncoding<void, id, id, platform::BlockPtr<void(platform::UIBackgroundFetchResult)>>.data()},
};

constexpr std::string_view everyPhonesSchemes[] = {"http", "https", "mailto", "tel", "sms", "facetime", "itms-apps"};

bool holds(const std::vector<std::string>& schemes, const std::string& scheme) {
  return std::ranges::find(schemes, scheme) != schemes.end();
}

std::optional<std::string> schemeOf(id url) {
  return url != nullptr ? services::urlScheme(NSURL::textOf(url)) : std::nullopt;
}

// Each time, because each refusal is the whole result of a user's tap.
void reportRefusal(const std::string& url, const std::optional<std::string>& scheme, bool isDeclared) {
  const auto report = [&](const char* reason, const char* remedy) {
    Process::current().report("platform", "blocked", obstacle("would not open " + url, reason, remedy));
  };
  if (!scheme) return report("it has no scheme", "begin it with one, such as https:");
  if (isDeclared) return report("nothing installed opens the scheme", R"(add it to "installedSchemes")");
  report(
      "the application does not declare the scheme",
      UIApplication::isInstalled(*scheme)
          ? R"(add it to "queriedSchemes")"
          : R"(add it to "urlSchemes", or, if another application opens it, to "queriedSchemes" and "installedSchemes")");
}

UIApplication& shared() { return platform::Process::shared<platform::Singleton<UIApplication>>().get(); }

}  // namespace

void UIApplication::install() {
  defineOptionalProtocol("UIApplicationDelegate", applicationDelegateMethods);
  platform::classOf<UIApplication>();
}

void UIApplication::defineClass(platform::ClassFace<UIApplication>& face) {
  face.classMethod<&UIApplication::sharedApplication>("sharedApplication")
      .method<&UIApplication::delegate>("delegate")
      .method<&UIApplication::setDelegate>("setDelegate:")
      .method<&UIApplication::registerForRemoteNotifications>("registerForRemoteNotifications")
      .method<&UIApplication::canOpenURL>("canOpenURL:")
      .method<&UIApplication::openURL>("openURL:options:completionHandler:")
      .method<&UIApplication::applicationIconBadgeNumber>("applicationIconBadgeNumber")
      .method<&UIApplication::showBadge>("setApplicationIconBadgeNumber:");
}

id UIApplication::sharedApplication() { return platform::objectOf(shared()); }

id UIApplication::delegate() const { return delegate_.load().autoreleased(); }

void UIApplication::setDelegate(id delegate) {
  Process::current().mainQueue().requireMainThread("-[UIApplication setDelegate:] is called");
  delegate_.store(delegate);
  std::vector<SEL> answered;
  for (const auto& [name, types] : applicationDelegateMethods) {
    const SEL callback = sel_registerName(name);
    if (platform::respondsToSelector(delegate, callback)) {
      answered.push_back(callback);
    }
  }
  if (delegate_.load().get() == delegate) answered_ = std::move(answered);  // unless respondsToSelector: has set one
}

platform::Strong UIApplication::delegateAnswering(SEL callback) {
  const UIApplication& application = shared();
  return std::ranges::find(application.answered_, callback) != application.answered_.end()
             ? application.delegate_.load()
             : platform::Strong();
}

// The delegate receives the result when the phone has one.
void UIApplication::registerForRemoteNotifications() {
  Process::current().report("app", "asks for a device token", Value::dictionary({}));
}

bool UIApplication::isInstalled(const std::string& scheme) {
  const URLSchemes& schemes = Process::current().urlSchemes();
  return std::ranges::find(everyPhonesSchemes, scheme) != std::end(everyPhonesSchemes) || holds(schemes.own, scheme) ||
         holds(schemes.installed, scheme);
}

bool UIApplication::canOpenURL(id url) {
  const std::optional<std::string> scheme = schemeOf(url);
  const URLSchemes& schemes = Process::current().urlSchemes();
  const bool isDeclared = scheme && (*scheme == "http" || *scheme == "https" || holds(schemes.own, *scheme) ||
                                     holds(schemes.queried, *scheme));
  const bool canOpen = isDeclared && isInstalled(*scheme);
  if (!canOpen && url != nullptr) reportRefusal(NSURL::textOf(url), scheme, isDeclared);
  return canOpen;
}

// Asynchronous: the event and the completion follow later, on the main queue.
void UIApplication::openURL(id url, id, platform::BlockPtr<void(bool)> completion) {
  const std::optional<std::string> scheme = schemeOf(url);
  const bool isOpened = scheme && isInstalled(*scheme);
  const bool onMainThread = Process::current().mainQueue().isMainThread();
  const std::string text = url != nullptr ? NSURL::textOf(url) : "";
  Process::current().mainQueue().async([=, completion = platform::Block<void(bool)>(completion)] {
    Process::current().report("platform", isOpened ? "opened URL" : "refused URL",
                              Value::dictionary({{"url", text}, {"calledOnMainThread", onMainThread}}));
    if (completion) completion(isOpened);
  });
}

std::int64_t UIApplication::applicationIconBadgeNumber() { return platform::Process::shared<Badge>().number; }

void UIApplication::showBadge(std::int64_t number) {
  platform::Process::shared<Badge>().number = number;
  Process::current().report("platform", "set badge", Value::dictionary({{"number", number}}));
}

}  // namespace host

namespace platform::UIApplication {
namespace {

id sharedApplication() {
  const id application = classObject(objc_getClass("UIApplication"));
  return send<id()>(application, sel_registerName("sharedApplication"));
}

}  // namespace

bool canOpenURL(const URL& url) {
  return send<bool(id)>(sharedApplication(), sel_registerName("canOpenURL:"), host::NSURL::make(url.absoluteString()));
}

void openURL(const URL& url) {
  send<void(id, id, BlockPtr<void(bool)>)>(sharedApplication(), sel_registerName("openURL:options:completionHandler:"),
                                           host::NSURL::make(url.absoluteString()), boxed(Value::dictionary({})),
                                           nullptr);
}

}  // namespace platform::UIApplication

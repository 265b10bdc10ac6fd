#include "host/phone/system_events.h"

#include "host/objects/nserror.h"
#include "host/phone/process.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "platform/notification_center.h"
#include "platform/object_messages.h"
#include "platform/send.h"
#include "platform/ui_application.h"

namespace host {
namespace {

using platform::Block;
using platform::Strong;
using platform::Value;

void report(std::string_view what, std::initializer_list<Value::Entry> details) {
  Process::current().report("platform", what, Value::dictionary(details));
}

void requireMainThread() { Process::current().mainQueue().requireMainThread("an event of the system is delivered"); }

template <class... A>
void callApplicationDelegate(const char* callback, A... arguments) {
  requireMainThread();
  const SEL selector = sel_registerName(callback);
  const Strong delegate = UIApplication::delegateAnswering(selector);
  if (!delegate) return report("undelivered", {{"callback", callback}});
  platform::send<void(id, A...)>(delegate.get(), selector, UIApplication::sharedApplication(), arguments...);
}

template <class Handler>
void callNotificationCenterDelegate(const char* callback, const Strong& event, Handler handler) {
  requireMainThread();
  const SEL selector = sel_registerName(callback);
  const Strong delegate = notificationCenterDelegate();
  if (!platform::respondsToSelector(delegate.get(), selector)) {
    return report("undelivered", {{"callback", callback}});
  }
  platform::send<void(id, id, Handler)>(delegate.get(), selector, currentNotificationCenter(), event.get(), handler);
}

struct MainDelegate {
  Strong delegate;
};

}  // namespace

void startApplication(const Strong& delegate) {
  requireMainThread();
  platform::Process::shared<MainDelegate>().delegate = delegate;
  const id application = UIApplication::sharedApplication();
  platform::setDelegate(application, delegate.get());
  const SEL callback = sel_registerName("application:didFinishLaunchingWithOptions:");
  if (!UIApplication::delegateAnswering(callback)) return;
  platform::send<bool(id, id)>(delegate.get(), callback, application, nullptr);
}

void becomeActive() {
  requireMainThread();
  const SEL callback = sel_registerName("applicationDidBecomeActive:");
  const Strong delegate = UIApplication::delegateAnswering(callback);
  platform::send<void(id)>(delegate.get(), callback, UIApplication::sharedApplication());
  platform::NotificationCenter::postNotificationName(platform::UIApplication::didBecomeActiveNotification,
                                                     UIApplication::sharedApplication());
}

void deliverDeviceToken(const Value* token) {
  callApplicationDelegate("application:didRegisterForRemoteNotificationsWithDeviceToken:", platform::boxed(token));
}

void failToRegisterForRemoteNotifications(const platform::Error& error) {
  callApplicationDelegate("application:didFailToRegisterForRemoteNotificationsWithError:", NSError::make(error));
}

void deliverInBackground(const Value& userInfo) {
  const Block<void(platform::UIBackgroundFetchResult)> handler([](platform::UIBackgroundFetchResult result) {
    report("fetched", {{"result", static_cast<std::uint64_t>(result)}});
  });
  callApplicationDelegate("application:didReceiveRemoteNotification:fetchCompletionHandler:", platform::boxed(userInfo),
                          handler.get());
}

void deliverInForeground(const Value& userInfo) {
  const Block<void(platform::UNNotificationPresentationOptions)> handler(
      [](platform::UNNotificationPresentationOptions options) {
        report("presents", {{"options", static_cast<std::uint64_t>(options)}});
      });
  callNotificationCenterDelegate("userNotificationCenter:willPresentNotification:withCompletionHandler:",
                                 makeNotification(userInfo), handler.get());
}

void deliverResponse(const Value& userInfo, const Value& actionIdentifier) {
  const Block<void()> handler([] { report("response completed", {}); });
  callNotificationCenterDelegate("userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:",
                                 makeNotificationResponse(userInfo, actionIdentifier), handler.get());
}

}  // namespace host

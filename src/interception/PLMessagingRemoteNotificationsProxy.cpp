// The start, and what the proxy hears as an interceptor of the application delegate's callbacks.

#include "interception/PLMessagingRemoteNotificationsProxy.h"

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "interception/badge_hooks.h"
#include "interception/platform_access.h"
#include "messaging/PLMessaging.h"
#include "platform/log.h"

using Proxy = PLMessagingRemoteNotificationsProxy;

// The process ends without teardown: what the shared instance has replaced and observed goes with it.
struct Proxy::Shared : platform::Singleton<Proxy> {
  ~Shared() {
    get().appDelegateMonitoringID_.reset();
    get().swizzledMethodsByClass_.clear();
    get().userNotificationCenter_ = {};
  }
};

Proxy& Proxy::sharedInstance() { return platform::Process::shared<Shared>().get(); }

void Proxy::defineClass(platform::ClassFace<Proxy>& face) {
  face.conformsTo("UIApplicationDelegate")
      .classMethod<&Proxy::load>("load")
      .classMethod<&Proxy::canPerformMethodSwizzling>("canPerformMethodSwizzling")
      .method<&Proxy::observeValueForKeyPath>("observeValueForKeyPath:ofObject:change:context:")
      .method<&pellionSetApplicationIconBadgeNumber>("pellionSetApplicationIconBadgeNumber:")
      .method<&Proxy::didRegister>("application:didRegisterForRemoteNotificationsWithDeviceToken:")
      .method<&Proxy::didFailToRegister>("application:didFailToRegisterForRemoteNotificationsWithError:")
      .method<&Proxy::didReceiveRemoteNotification>("application:didReceiveRemoteNotification:fetchCompletionHandler:");
}

Proxy::~PLMessagingRemoteNotificationsProxy() {
  unswizzleAllMethods();
  origAppDelegateImps_.clear();
  detachUserNotificationCenterDelegateObserver();
}

void Proxy::performMethodSwizzlingIfPossible() {
  if (didSwizzleMethods_) return;
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  injectSelector(objc_getClass("UIApplication"), sel_registerName("setApplicationIconBadgeNumber:"),
                 platform::classOf<Proxy>(), sel_registerName("pellionSetApplicationIconBadgeNumber:"));
  injectSelector(objc_getClass("UNUserNotificationCenter"), sel_registerName("setBadgeCount:withCompletionHandler:"),
                 platform::classOf<PLUserNotificationCenter>(),
                 sel_registerName("pellionSetBadgeCount:withCompletionHandler:"));
  platform::classOf<PLUserNotificationCenterDelegate>();
  appDelegateMonitoringID_ = PLAppDelegateSwizzler::registerAppDelegateInterceptor(platform::objectOf(*this));
  if (const Class centerClass = objc_getClass("UNUserNotificationCenter")) {
    const platform::Strong center = PLPropertyNameForMessagingFromObject(platform::classObject(centerClass),
                                                                         "currentNotificationCenter", centerClass);
    if (center) monitorUserNotificationCenterDelegateChanges(center.get());
  }
  didSwizzleMethods_ = true;
}

void Proxy::didRegister(id /*application*/, id deviceToken) {
  const std::optional<platform::Value> token = platform::unboxed(deviceToken);
  PLMessaging::shared().setAPNSToken(token ? &*token : nullptr);
}

void Proxy::didFailToRegister(id /*application*/, id error) {
  const id description = platform::send<id()>(error, sel_registerName("localizedDescription"));
  PL_LOG(platform::pellionWarning,
         "-[PLMessagingRemoteNotificationsProxy application:didFailToRegisterForRemoteNotificationsWithError:]",
         "Error in application:didFailToRegisterForRemoteNotificationsWithError: %@", description);
  PLMessaging::shared().didFailToRegisterForRemoteNotificationsWithError(error);
}

void Proxy::didReceiveRemoteNotification(id /*application*/, id userInfo, FetchHandler handler) {
  const std::optional<platform::Value> payload = platform::unboxed(userInfo);
  PLMessaging::shared().updateLogMsgIds(payload ? &*payload : nullptr);
  platform::invoke(handler, platform::UIBackgroundFetchResultNoData);
}

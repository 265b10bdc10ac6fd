// The start, and the application delegate's callbacks that the proxy receives as an interceptor.

#include "interception/PLMessagingRemoteNotificationsProxy.h"

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/donor_methods.h"
#include "interception/badge_hooks.h"
#include "interception/platform_access.h"
#include "messaging/PLMessaging.h"
#include "platform/key_value_observing.h"
#include "platform/log.h"
#include "platform/object_messages.h"

using Proxy = PLMessagingRemoteNotificationsProxy;

Proxy& Proxy::sharedInstance() { return platform::Process::shared<platform::Singleton<Proxy>>().get(); }

void Proxy::defineClass(platform::ClassFace<Proxy>& face) {
  face.conformsTo("UIApplicationDelegate")
      .classMethod<&Proxy::load>("load")
      .classMethod<&Proxy::sharedObject>("sharedInstance")
      .classMethod<&Proxy::canPerformMethodSwizzling>("canPerformMethodSwizzling")
      .method<&Proxy::performMethodSwizzlingIfPossible>("performMethodSwizzlingIfPossible")
      .method<&Proxy::observeValueForKeyPath>(platform::observeValueForKeyPathSelector)
      .method<&pellionSetApplicationIconBadgeNumber>(badgeNumberDonor)
      .method<&Proxy::didRegister>(::didRegister.target)
      .method<&Proxy::didFailToRegister>(::didFailToRegister.target)
      .method<&Proxy::didReceiveRemoteNotification>(didReceive.target);
}

id Proxy::sharedObject() { return platform::objectOf(sharedInstance()); }

void Proxy::dealloc() {
  unswizzleAllMethods();
  origAppDelegateImps_.clear();
  detachUserNotificationCenterDelegateObserver();
}

void Proxy::performMethodSwizzlingIfPossible() {
  if (didSwizzleMethods_) return;
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  injectSelector(objc_getClass("UIApplication"), sel_registerName("setApplicationIconBadgeNumber:"),
                 platform::classOf<Proxy>(), sel_registerName(badgeNumberDonor));
  injectSelector(objc_getClass("UNUserNotificationCenter"), sel_registerName("setBadgeCount:withCompletionHandler:"),
                 platform::classOf<PLUserNotificationCenter>(), sel_registerName(badgeCountDonor));
  platform::classOf<PLUserNotificationCenterDelegate>();
  appDelegateMonitoringID_ = PLAppDelegateSwizzler::registerAppDelegateInterceptor(platform::objectOf(*this));
  if (const Class centerClass = objc_getClass("UNUserNotificationCenter")) {
    const platform::Strong center = PLPropertyNameForMessagingFromObject(platform::classObject(centerClass),
                                                                         "currentNotificationCenter", centerClass);
    if (center) monitorUserNotificationCenterDelegateChanges(center.get());
  }
  didSwizzleMethods_ = true;
}

void Proxy::didRegister(id /*application*/, id deviceToken) { PLMessaging::shared().setAPNSTokenObject(deviceToken); }

void Proxy::didFailToRegister(id /*application*/, id error) {
  const id description = platform::property(error, "localizedDescription");
  PL_LOG(platform::pellionWarning,
         "-[PLMessagingRemoteNotificationsProxy application:didFailToRegisterForRemoteNotificationsWithError:]",
         "Error in application:didFailToRegisterForRemoteNotificationsWithError: %@", description);
  PLMessaging::shared().didFailToRegisterForRemoteNotificationsWithError(error);
}

void Proxy::didReceiveRemoteNotification(id /*application*/, id userInfo, FetchHandler handler) {
  const std::optional<platform::Value> payload = platform::unboxedIfItHasKey(userInfo, PLMessaging::addInfoKey);
  PLMessaging::shared().updateLogMsgIds(platform::orNull(payload));
  platform::invoke(handler, platform::UIBackgroundFetchResultNoData);
}

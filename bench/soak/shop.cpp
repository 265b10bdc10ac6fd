#include "bench/soak/shop.h"

#include <utility>

#include "host/phone/ui_application.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"
#include "platform/send.h"

namespace soak {
namespace {

constexpr const char* willPresentSelector = "userNotificationCenter:willPresentNotification:withCompletionHandler:";
constexpr const char* didRespondSelector =
    "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

struct NotificationDelegate {
  platform::Strong kept;  // the notification center does not keep it
};

}  // namespace

void ShopApplication::defineClass(platform::ClassFace<ShopApplication>& face) {
  face.conformsTo("UIApplicationDelegate")
      .method<&ShopApplication::didFinishLaunching>("application:didFinishLaunchingWithOptions:")
      .method<&ShopApplication::didReceive>("application:didReceiveRemoteNotification:fetchCompletionHandler:");
}

bool ShopApplication::didFinishLaunching(id /*application*/, id /*options*/) {
  PLMessaging::startService();
  return true;
}

void ShopApplication::didReceive(id /*application*/, id /*userInfo*/,
                                 platform::BlockPtr<void(platform::UIBackgroundFetchResult)> handler) {
  platform::invoke(handler, platform::UIBackgroundFetchResultNewData);
}

void ShopNotifications::defineClass(platform::ClassFace<ShopNotifications>& face) {
  face.conformsTo("UNUserNotificationCenterDelegate")
      .method<&ShopNotifications::willPresent>(willPresentSelector)
      .method<&ShopNotifications::didRespond>(didRespondSelector);
}

void ShopNotifications::willPresent(id /*center*/, id /*notification*/, host::PresentationHandler handler) {
  platform::invoke(handler, platform::UNNotificationPresentationOptionBanner);
}

void ShopNotifications::didRespond(id /*center*/, id response, platform::BlockPtr<void()> handler) {
  PLNotificationHandler::shared().handleNotificationResponse(response, handler);
}

void MemberNotifications::defineClass(platform::ClassFace<MemberNotifications>& face) {
  face.conformsTo("UNUserNotificationCenterDelegate")
      .method<&MemberNotifications::willPresent>(willPresentSelector)
      .method<&MemberNotifications::didRespond>(didRespondSelector);
}

template <class T>
void answerNotificationsAs() {
  platform::Strong delegate = platform::makeObject<T>();
  platform::send<void(id)>(host::currentNotificationCenter(), sel_registerName("setDelegate:"), delegate.get());
  platform::Process::shared<NotificationDelegate>().kept = std::move(delegate);
}
template void answerNotificationsAs<ShopNotifications>();
template void answerNotificationsAs<MemberNotifications>();

void setBadge(std::int64_t number) {
  platform::send<void(std::int64_t)>(host::UIApplication::sharedApplication(),
                                     sel_registerName("setApplicationIconBadgeNumber:"), number);
}

}  // namespace soak

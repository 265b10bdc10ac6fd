#include "shop_application.h"

#include <iostream>
#include <string>
#include <utility>

#include "messaging/PLMessaging.h"
#include "platform/send.h"
#include "platform/value.h"

namespace {

constexpr const char* willPresentSelector = "userNotificationCenter:willPresentNotification:withCompletionHandler:";
constexpr const char* didReceiveSelector =
    "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

void say(const std::string& text) { std::cout << "  shop       " << text << '\n'; }

id get(id object, const char* property) { return platform::send<id()>(object, sel_registerName(property)); }

id classProperty(const char* className, const char* property) {
  return get(platform::classObject(objc_getClass(className)), property);
}

std::string alertOf(id notification) {
  const auto userInfo = platform::unboxed(get(get(get(notification, "request"), "content"), "userInfo"));
  const platform::Value* aps = userInfo ? userInfo->find("aps") : nullptr;
  const platform::Value* alert = aps != nullptr ? aps->find("alert") : nullptr;
  return alert != nullptr ? '"' + alert->description() + '"' : "a notification without text";
}

}  // namespace

void ShopApplication::defineClass(platform::ClassFace<ShopApplication>& face) {
  face.conformsTo("UIApplicationDelegate")
      .method<&ShopApplication::didFinishLaunching>("application:didFinishLaunchingWithOptions:")
      .method<&ShopApplication::didReceiveRemoteNotification>(
          "application:didReceiveRemoteNotification:fetchCompletionHandler:");
}

bool ShopApplication::didFinishLaunching(id application, id /*options*/) {
  say("starts the messaging service and asks for a device token");
  answerNotificationsWith(platform::makeObject<GuestNotifications>());
  PLMessaging::startService();
  platform::send<void()>(application, sel_registerName("registerForRemoteNotifications"));
  return true;
}

void ShopApplication::didReceiveRemoteNotification(id /*application*/, id /*userInfo*/, FetchHandler handler) {
  say("loads the catalogue, returns: new data");
  platform::invoke(handler, platform::UIBackgroundFetchResultNewData);
}

void ShopApplication::fillBasket(std::int64_t count) {
  say("sets its badge to " + std::to_string(count));
  platform::send<void(std::int64_t)>(classProperty("UIApplication", "sharedApplication"),
                                     sel_registerName("setApplicationIconBadgeNumber:"), count);
}

void ShopApplication::signIn() {
  say("replaces its notification delegate");
  answerNotificationsWith(platform::makeObject<MemberNotifications>());
}

void ShopApplication::answerNotificationsWith(platform::Strong delegate) {
  platform::send<void(id)>(classProperty("UNUserNotificationCenter", "currentNotificationCenter"),
                           sel_registerName("setDelegate:"), delegate.get());
  notificationDelegate_ = std::move(delegate);
}

void GuestNotifications::defineClass(platform::ClassFace<GuestNotifications>& face) {
  face.conformsTo("UNUserNotificationCenterDelegate")
      .method<&GuestNotifications::willPresent>(willPresentSelector)
      .method<&GuestNotifications::didReceive>(didReceiveSelector);
}

void GuestNotifications::willPresent(id /*center*/, id notification, PresentationHandler handler) {
  say("for guests: shows " + alertOf(notification) + " as a banner");
  platform::invoke(handler, platform::UNNotificationPresentationOptionBanner);
}

void GuestNotifications::didReceive(id /*center*/, id response, ResponseHandler handler) {
  say("for guests: handles the tap on " + alertOf(get(response, "notification")));
  platform::invoke(handler);
}

void MemberNotifications::defineClass(platform::ClassFace<MemberNotifications>& face) {
  face.conformsTo("UNUserNotificationCenterDelegate")
      .method<&MemberNotifications::willPresent>(willPresentSelector)
      .method<&MemberNotifications::didReceive>(didReceiveSelector);
}

void MemberNotifications::willPresent(id /*center*/, id notification, PresentationHandler handler) {
  say("for members: shows " + alertOf(notification) + " only in the list");
  platform::invoke(handler, platform::UNNotificationPresentationOptionList);
}

void MemberNotifications::didReceive(id /*center*/, id response, ResponseHandler handler) {
  say("for members: handles the tap on " + alertOf(get(response, "notification")));
  platform::invoke(handler);
}

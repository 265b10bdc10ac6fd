#pragma once

#include <cstdint>

#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/objc.h"
#include "platform/reference.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

// A shop, as its developer writes it. Except for one call, PLMessaging::startService(), no code here uses the module.

/// The application's delegate.
class ShopApplication {
 public:
  /// The application's icon shows the number of things in the basket.
  void fillBasket(std::int64_t count);
  /// From now on the delegate for members responds.
  void signIn();

  static constexpr const char* className = "ShopApplication";
  static void defineClass(platform::ClassFace<ShopApplication>& face);

 private:
  using FetchHandler = platform::BlockPtr<void(platform::UIBackgroundFetchResult)>;
  bool didFinishLaunching(id application, id options);
  void didReceiveRemoteNotification(id application, id userInfo, FetchHandler handler);
  void answerNotificationsWith(platform::Strong delegate);

  platform::Strong notificationDelegate_;  // the notification center does not keep it alive
};

using PresentationHandler = platform::BlockPtr<void(platform::UNNotificationPresentationOptions)>;
using ResponseHandler = platform::BlockPtr<void()>;

/// The notification center's delegate until a user signs in.
class GuestNotifications {
 public:
  static constexpr const char* className = "GuestNotifications";
  static void defineClass(platform::ClassFace<GuestNotifications>& face);

 private:
  void willPresent(id center, id notification, PresentationHandler handler);
  void didReceive(id center, id response, ResponseHandler handler);
};

/// The notification center's delegate after that.
class MemberNotifications {
 public:
  static constexpr const char* className = "MemberNotifications";
  static void defineClass(platform::ClassFace<MemberNotifications>& face);

 private:
  void willPresent(id center, id notification, PresentationHandler handler);
  void didReceive(id center, id response, ResponseHandler handler);
};

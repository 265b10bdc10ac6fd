#pragma once

#include "host/phone/user_notifications.h"
#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/ui_application.h"

namespace soak {

/// A host application: starts the service, answers all notifications, and lets click actions open.
class ShopApplication {
 public:
  static constexpr const char* className = "ShopApplication";
  static void defineClass(platform::ClassFace<ShopApplication>& face);

 private:
  bool didFinishLaunching(id application, id options);
  void didReceive(id application, id userInfo, platform::BlockPtr<void(platform::UIBackgroundFetchResult)> handler);
};

/// The notification center's delegate.
class ShopNotifications {
 public:
  static constexpr const char* className = "ShopNotifications";
  static void defineClass(platform::ClassFace<ShopNotifications>& face);

 protected:
  void willPresent(id center, id notification, host::PresentationHandler handler);
  void didRespond(id center, id response, platform::BlockPtr<void()> handler);
};

/// A different class, so that replacing the delegate replaces methods too.
class MemberNotifications : public ShopNotifications {
 public:
  static constexpr const char* className = "MemberNotifications";
  static void defineClass(platform::ClassFace<MemberNotifications>& face);
};

/// Replaces the notification center's delegate with a new T, kept until the next replacement.
template <class T>
void answerNotificationsAs();
void setBadge(std::int64_t number);

}  // namespace soak

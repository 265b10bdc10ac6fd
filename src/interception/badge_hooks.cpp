#include "interception/badge_hooks.h"

#include "messaging/PLMessaging.h"
#include "platform/send.h"

namespace {

constexpr const char* didRespondDonor =
    "pellionUserNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

using BadgeHandler = platform::BlockPtr<void(id error)>;
using ResponseHandler = platform::BlockPtr<void()>;

void pellionSetBadgeCount(id self, SEL /*selector*/, std::int64_t count, BadgeHandler handler) {
  PLMessaging::shared().updateBadgeCount(count);
  platform::send<void(std::int64_t, BadgeHandler)>(self, sel_registerName(badgeCountDonor), count, handler);
}

void pellionDidReceiveNotificationResponse(id self, SEL /*selector*/, id center, id response, ResponseHandler handler) {
  platform::send<void(id, id, ResponseHandler)>(self, sel_registerName(didRespondDonor), center, response, handler);
}

}  // namespace

void pellionSetApplicationIconBadgeNumber(id self, SEL /*selector*/, std::int64_t number) {
  PLMessaging::shared().updateBadgeCount(number);
  platform::send<void(std::int64_t)>(self, sel_registerName(badgeNumberDonor), number);
}

void PLUserNotificationCenter::defineClass(platform::ClassFace<PLUserNotificationCenter>& face) {
  face.method<&pellionSetBadgeCount>(badgeCountDonor);
}

void PLUserNotificationCenterDelegate::defineClass(platform::ClassFace<PLUserNotificationCenterDelegate>& face) {
  face.method<&pellionDidReceiveNotificationResponse>(didRespondDonor);
}

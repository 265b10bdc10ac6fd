#pragma once

#include <cstdint>

#include "platform/block.h"
#include "platform/class_face.h"

// Donors: methods that are copied into the platform's classes, so that a badge is recorded before it is set. Their
// receiver is the platform's object. After the exchange the donor's selector runs the platform's own setter. Kept:
// where the platform has no such setter, that selector is missing and sending it raises.

inline constexpr const char* badgeNumberDonor = "pellionSetApplicationIconBadgeNumber:";
inline constexpr const char* badgeCountDonor = "pellionSetBadgeCount:withCompletionHandler:";

/// Copied into UIApplication in place of `setApplicationIconBadgeNumber:`.
void pellionSetApplicationIconBadgeNumber(id self, SEL selector, std::int64_t number);

/// Its method is copied into UNUserNotificationCenter in place of `setBadgeCount:withCompletionHandler:`.
class PLUserNotificationCenter {
 public:
  static constexpr const char* className = "PLUserNotificationCenter";
  static void defineClass(platform::ClassFace<PLUserNotificationCenter>& face);
};

/// Kept: the class exists, but no code installs its method.
class PLUserNotificationCenterDelegate {
 public:
  static constexpr const char* className = "PLUserNotificationCenterDelegate";
  static void defineClass(platform::ClassFace<PLUserNotificationCenterDelegate>& face);
};

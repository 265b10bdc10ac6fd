#pragma once

#include <cstdint>

namespace platform {

// The platform's constants for a response's action identifier.
inline constexpr const char* UNNotificationDefaultActionIdentifier = "com.apple.UNNotificationDefaultActionIdentifier";
inline constexpr const char* UNNotificationDismissActionIdentifier = "com.apple.UNNotificationDismissActionIdentifier";

/// How a notification is presented while its application is in the foreground: a set of the platform's bits.
enum UNNotificationPresentationOptions : std::uint64_t {
  UNNotificationPresentationOptionNone = 0,
  UNNotificationPresentationOptionBadge = 1U << 0U,
  UNNotificationPresentationOptionSound = 1U << 1U,
  UNNotificationPresentationOptionList = 1U << 3U,
  UNNotificationPresentationOptionBanner = 1U << 4U,
};

}  // namespace platform

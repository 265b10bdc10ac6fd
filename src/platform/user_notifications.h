#pragma once

namespace platform {

// The platform's constants for a response's action identifier.
inline constexpr const char* UNNotificationDefaultActionIdentifier = "com.apple.UNNotificationDefaultActionIdentifier";
inline constexpr const char* UNNotificationDismissActionIdentifier = "com.apple.UNNotificationDismissActionIdentifier";

}  // namespace platform

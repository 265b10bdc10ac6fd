#pragma once

#include <cstdint>

#include "platform/url.h"

namespace platform {

/// What an application found after a notification had woken it up. The values are the platform's.
enum UIBackgroundFetchResult : std::uint64_t {
  UIBackgroundFetchResultNewData = 0,
  UIBackgroundFetchResultNoData = 1,
  UIBackgroundFetchResultFailed = 2,
};

}  // namespace platform

namespace platform::UIApplication {

inline constexpr const char* didBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";

// Messages to the shared application object. Without one, canOpenURL returns false and openURL does nothing.

bool canOpenURL(const URL& url);
/// `openURL:options:completionHandler:` with empty options and no completion. Main thread only; the opening itself is
/// asynchronous.
void openURL(const URL& url);

}  // namespace platform::UIApplication

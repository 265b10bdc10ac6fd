#pragma once

#include "platform/url.h"

namespace platform::UIApplication {

inline constexpr const char* didBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";

// Messages to the shared application object; without one they do nothing and answer no.

bool canOpenURL(const URL& url);
/// `openURL:options:completionHandler:` with empty options and no completion. Main thread only; the opening itself is
/// asynchronous.
void openURL(const URL& url);

}  // namespace platform::UIApplication

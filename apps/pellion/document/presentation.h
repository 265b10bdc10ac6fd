#pragma once

#include <cstddef>

#include "platform/value.h"

namespace pellion {

// What a platform does with a payload whose "aps" asks for it, whatever the rest of it is.

inline constexpr std::size_t largestPushPayload = 4096;  ///< in bytes, as compact JSON; the push service's limit

/// Whether it shows a text to which the user can respond.
bool showsAlert(const platform::Value& payload);
/// Whether it shows, plays or counts something.
bool isPresented(const platform::Value& payload);
/// Whether it wakes the application in the background.
bool wakesApplication(const platform::Value& payload);

}  // namespace pellion

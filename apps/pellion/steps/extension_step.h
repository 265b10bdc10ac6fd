#pragma once

#include <optional>
#include <string_view>

#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape extensionShape;

/// Runs the notification extension: another process of the phone, which shares only the store of their App Group with
/// the application. It leaves statistics entries there and reads the badge.
void runExtension(ScenarioPhone& phone, const JSONNode& work);

// The keys that the application and its extension use for the same data.
inline constexpr std::string_view badgeKey = "pellionBadgeCount";
inline constexpr std::string_view pendingKey = "pellionDidReceivePushNotification";

/// The value that another process finds in the shared store.
std::optional<platform::Value> sharedValue(ScenarioPhone& phone, std::string_view key);

}  // namespace pellion

#pragma once

#include <optional>
#include <string_view>

#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape extensionShape;

/// The notification extension runs: another process of the phone, which shares with the application only the store of
/// their App Group. It leaves statistics entries there and reads the badge.
void runExtension(ScenarioRun& run, const JSONNode& work);

// The keys that the application and its extension have agreed on.
inline constexpr std::string_view badgeKey = "pellionBadgeCount";
inline constexpr std::string_view pendingKey = "pellionDidReceivePushNotification";

/// What another process finds in the shared store.
std::optional<platform::Value> sharedValue(ScenarioRun& run, std::string_view key);

}  // namespace pellion

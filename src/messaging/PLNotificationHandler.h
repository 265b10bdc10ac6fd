#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/block.h"
#include "platform/export.h"
#include "platform/objc.h"
#include "platform/value.h"

/// Opens the click action of a notification response. The host application calls it from its own notification-center
/// delegate. Unlike PLMessaging, it checks the kind of every value, and nothing that a payload holds makes it raise.
/// No state; any thread.
class PL_EXPORT PLNotificationHandler {
 public:
  static PLNotificationHandler& shared();

  /// Schedules the opening on the main queue, then calls `completion` (which may be null) synchronously, in every case.
  void handleNotificationResponse(id response, platform::BlockPtr<void()> completion) const;

  /// Returns the click action of the response's action. For a button that the payload does not describe, it returns
  /// the notification's own click action.
  [[nodiscard]] std::optional<std::string> resolvedClickActionFromResponse(id response) const;
  /// Returns "addInfo", given as a dictionary or as the JSON text of an object.
  [[nodiscard]] std::optional<platform::Value> addInfoDictionaryFromUserInfo(const platform::Value& userInfo) const;
  [[nodiscard]] std::optional<std::string> stringValue(const platform::Value* value) const;
  void openClickAction(std::string_view clickAction) const;
};

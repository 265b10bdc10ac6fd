#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/block.h"
#include "platform/export.h"
#include "platform/objc.h"
#include "platform/value.h"

/// Opens a notification response's click action, for the host application to call from its own notification-center
/// delegate. The careful variant: every value is checked for its kind, and nothing that a payload holds makes it raise.
/// No state; any thread.
class PL_EXPORT PLNotificationHandler {
 public:
  static PLNotificationHandler& shared();

  /// Schedules the opening on the main queue, then calls `completion` (which may be null) synchronously, in every case.
  void handleNotificationResponse(id response, platform::BlockPtr<void()> completion) const;

  /// The click action of the response's action; a button that the payload does not describe falls back to the
  /// notification's own.
  [[nodiscard]] std::optional<std::string> resolvedClickActionFromResponse(id response) const;
  /// "addInfo" given as a dictionary or as JSON text of an object.
  [[nodiscard]] std::optional<platform::Value> addInfoDictionaryFromUserInfo(const platform::Value& userInfo) const;
  [[nodiscard]] std::optional<std::string> stringValue(const platform::Value* value) const;
  void openClickAction(std::string_view clickAction) const;
};

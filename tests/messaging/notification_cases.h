#pragma once

#include <string>

#include "platform/user_notifications.h"
#include "tests/messaging/messaging_phone.h"
#include "tests/support/cases.h"

namespace test {

// Cases describe a notification and what the user does with it as scenarios do.
inline platform::Value payloadOf(const platform::Value& notification) {
  const platform::Value* const addInfo = notification.find("addInfo");
  if (addInfo == nullptr) return at(notification, "payload");
  return platform::Value::dictionary({{"addInfo", textOf(platform::JSONSerialization::dataWithJSONObject(*addInfo))}});
}
inline std::string actionOf(const platform::Value& response) {
  const std::string with = textAt(response, "with");
  if (with == "tap") return platform::UNNotificationDefaultActionIdentifier;
  return with == "dismiss" ? platform::UNNotificationDismissActionIdentifier : with;
}

}  // namespace test

#pragma once

#include "platform/reference.h"
#include "platform/value.h"

namespace host {

/// Makes the UserNotifications classes known to the current process.
void installUserNotifications();

/// A UNNotification whose request's content carries `userInfo`.
platform::Strong makeNotification(const platform::Value& userInfo);

/// A UNNotificationResponse to such a notification.
platform::Strong makeNotificationResponse(const platform::Value& userInfo, const platform::Value& actionIdentifier);

}  // namespace host

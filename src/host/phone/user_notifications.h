#pragma once

#include "platform/block.h"
#include "platform/reference.h"
#include "platform/user_notifications.h"
#include "platform/value.h"

namespace host {

/// Makes the UserNotifications classes and the protocol UNUserNotificationCenterDelegate known to the current process.
void installUserNotifications();

/// The one UNUserNotificationCenter of the current process, even where no look-up finds its class by name.
id currentNotificationCenter();
/// Returns its delegate, which it does not keep alive, or null.
platform::Strong notificationCenterDelegate();

using PresentationHandler = platform::BlockPtr<void(platform::UNNotificationPresentationOptions)>;

/// A UNNotification whose request's content carries `userInfo`.
platform::Strong makeNotification(const platform::Value& userInfo);

/// A UNNotificationResponse to such a notification.
platform::Strong makeNotificationResponse(const platform::Value& userInfo, const platform::Value& actionIdentifier);

}  // namespace host

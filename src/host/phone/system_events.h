#pragma once

#include "platform/error.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace host {

// What the operating system tells the application of the current process: each calls a method of the application's
// delegate or of the notification center's, as the platform does, and knows nobody else. A token, a failure, a
// notification or a response that no delegate hears is told of as the event "unheard". Main thread: on another one each
// throws ProgrammingError.

/// Starts an application as the platform's `UIApplicationMain` does: the delegate is kept for the life of the process,
/// becomes the application's, and hears that launching has finished. Null is an application without a delegate.
void startApplication(const platform::Strong& delegate);
/// The application becomes active: its delegate hears of it, then the observers of the notification.
void becomeActive();

/// The device token (bytes, or null) that the application asked for.
void deliverDeviceToken(const platform::Value* token);
void failToRegisterForRemoteNotifications(const platform::Error& error);
/// A notification that wakes the application up in the background. What it has found is the event "fetched".
void deliverInBackground(const platform::Value& userInfo);
/// A notification for an application in the foreground. How it is to be shown is the event "presents".
void deliverInForeground(const platform::Value& userInfo);
/// The user answers a notification. The end of the application's work on it is the event "response completed".
void deliverResponse(const platform::Value& userInfo, const platform::Value& actionIdentifier);

}  // namespace host

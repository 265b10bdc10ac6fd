#pragma once

#include "platform/error.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace host {

// Events of the operating system for the application of the current process. As on the platform, each calls a method
// of the application's delegate or of the notification center's, and no other object. A token, failure, notification
// or response for which no delegate has the method becomes the event "undelivered". Main thread: on another thread each
// throws ProgrammingError.

/// Starts an application as the platform's `UIApplicationMain` does. The delegate is kept for the life of the process,
/// becomes the application's, and is notified that launching has finished. Null: an application without a delegate.
void startApplication(const platform::Strong& delegate);
/// The application becomes active: its delegate is notified first, then the observers of the notification.
void becomeActive();

/// Delivers the device token (bytes, or null) that the application asked for.
void deliverDeviceToken(const platform::Value* token);
void failToRegisterForRemoteNotifications(const platform::Error& error);
/// Delivers a notification that wakes the application up in the background. Its fetch result is the event "fetched".
void deliverInBackground(const platform::Value& userInfo);
/// Delivers a notification to an application in the foreground. Its presentation options are the event "presents".
void deliverInForeground(const platform::Value& userInfo);
/// The user responds to a notification. The end of the application's work on it is the event "response completed".
void deliverResponse(const platform::Value& userInfo, const platform::Value& actionIdentifier);

}  // namespace host

#pragma once

#include "platform/block.h"
#include "platform/objc.h"
#include "platform/user_notifications.h"

// These functions run in place of the two methods of the notification center's delegate: first the module's own work,
// then the delegate's own code with its completion handler unchanged. The module neither calls nor wraps that handler,
// and never chooses how a notification is presented.

inline constexpr const char* willPresentSelector =
    "userNotificationCenter:willPresentNotification:withCompletionHandler:";
inline constexpr const char* didReceiveSelector =
    "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

using PresentationHandler = platform::BlockPtr<void(platform::UNNotificationPresentationOptions)>;
using ResponseHandler = platform::BlockPtr<void()>;

void PLSwizzleWillPresentNotificationWithHandler(id delegate, SEL selector, id center, id notification,
                                                 PresentationHandler handler);
void PLSwizzleDidReceiveNotificationResponseWithHandler(id delegate, SEL selector, id center, id response,
                                                        ResponseHandler handler);

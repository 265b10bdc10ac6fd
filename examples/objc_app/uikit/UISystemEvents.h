#pragma once

// What the operating system does to an application, for programs that play its part. Main thread. As on the platform,
// each event calls a method of a delegate, and no other object; without such a method it is told as "undelivered".

#import <Foundation/Foundation.h>

#import "UIKit.h"
#import "UserNotifications.h"

/// Receives what the classes here do in the place of the system: "opened URL" and its text, "set badge" and the number,
/// and so on.
typedef void (^UISystemListener)(NSString *what, id details);
void UISystemSetListener(UISystemListener listener);
void UISystemTell(NSString *what, id details);

/// Runs the work on the main thread's run loop, later.
void UISystemRunLater(void (^work)(void));

void UISystemDeliverDeviceToken(NSData *token);
void UISystemFailToRegister(NSError *error);
/// Tells "fetched" and the result when the application is done.
void UISystemDeliverInBackground(NSDictionary *userInfo);
/// Tells "presents" and the options.
void UISystemDeliverInForeground(NSDictionary *userInfo);
/// Tells "response completed".
void UISystemDeliverResponse(NSDictionary *userInfo, NSString *actionIdentifier);
/// The delegate first, then the observers of the notification.
void UISystemBecomeActive(void);

#pragma once

// What the operating system does to an application, for programs that play its part. Main thread. As on the platform,
// each event calls a method of a delegate, and no other object; without such a method it is reported as "undelivered".

#import <Foundation/Foundation.h>

#import "UIKit.h"
#import "UISystemListener.h"
#import "UserNotifications.h"

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

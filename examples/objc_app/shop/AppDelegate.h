#pragma once

#import <UIKit.h>
#import <UserNotifications.h>

// A shop, as its developer writes it. Except for one call, +[PLMessaging startService], no code here uses the module.

@interface AppDelegate : NSObject <UIApplicationDelegate> {
 @private
  id<UNUserNotificationCenterDelegate> _notificationDelegate;  // the notification center does not keep it alive
}

/// The user signs in: from now on the delegate for members responds.
- (void)signIn:(id)sender;
/// The application's icon shows the number of things in the basket, an NSNumber.
- (void)fillBasket:(id)count;
/// The basket was ordered. Things that are left over, an NSNumber, stay on the icon.
- (void)order:(id)count;
/// Something happened that the analytics kit counts: a dictionary for its core library.
- (void)count:(id)report;
@end

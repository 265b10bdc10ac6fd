#pragma once

#import <UserNotifications.h>

/// Responds to notifications until the user signs in.
@interface NotificationDelegate : NSObject <UNUserNotificationCenterDelegate>
@end

/// Responds to those of a member: they appear in the list alone.
@interface MemberNotificationDelegate : NSObject <UNUserNotificationCenterDelegate>
@end

#pragma once

// The parts of UserNotifications that a push-notification module and its application meet.

#import <Foundation/Foundation.h>

@class UNUserNotificationCenter;

extern NSString *const UNNotificationDefaultActionIdentifier;
extern NSString *const UNNotificationDismissActionIdentifier;

typedef NS_OPTIONS(NSUInteger, UNNotificationPresentationOptions) {
  UNNotificationPresentationOptionNone = 0,
  UNNotificationPresentationOptionBadge = 1 << 0,
  UNNotificationPresentationOptionSound = 1 << 1,
  UNNotificationPresentationOptionList = 1 << 3,
  UNNotificationPresentationOptionBanner = 1 << 4
};

@interface UNNotificationContent : NSObject {
 @private
  NSDictionary *_userInfo;
}
- (id)initWithUserInfo:(NSDictionary *)userInfo;
- (NSDictionary *)userInfo;
@end

@interface UNNotificationRequest : NSObject {
 @private
  UNNotificationContent *_content;
}
- (id)initWithContent:(UNNotificationContent *)content;
- (UNNotificationContent *)content;
@end

@interface UNNotification : NSObject {
 @private
  UNNotificationRequest *_request;
}
+ (UNNotification *)notificationWithUserInfo:(NSDictionary *)userInfo;
- (UNNotificationRequest *)request;
@end

@interface UNNotificationResponse : NSObject {
 @private
  UNNotification *_notification;
  NSString *_actionIdentifier;
}
- (id)initWithNotification:(UNNotification *)notification actionIdentifier:(NSString *)identifier;
- (UNNotification *)notification;
- (NSString *)actionIdentifier;
@end

@protocol UNUserNotificationCenterDelegate <NSObject>
@optional
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))handler;
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler;
@end

@interface UNUserNotificationCenter : NSObject {
 @private
  id _delegate;
}
+ (UNUserNotificationCenter *)currentNotificationCenter;
/// Not retained.
- (id<UNUserNotificationCenterDelegate>)delegate;
- (void)setDelegate:(id<UNUserNotificationCenterDelegate>)delegate;
/// The handler is called later on the main thread.
- (void)setBadgeCount:(NSInteger)count withCompletionHandler:(void (^)(NSError *error))handler;
@end

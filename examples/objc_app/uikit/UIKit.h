#pragma once

// The parts of UIKit that a push-notification module and its application meet, for systems without UIKit. Each behaves
// as the platform documents it. UISystemEvents.h plays the system's part.

#import <Foundation/Foundation.h>

@class UIApplication;

typedef NS_ENUM(NSUInteger, UIBackgroundFetchResult) {
  UIBackgroundFetchResultNewData,
  UIBackgroundFetchResultNoData,
  UIBackgroundFetchResultFailed
};

extern NSString *const UIApplicationDidBecomeActiveNotification;

@protocol UIApplicationDelegate <NSObject>
@optional
- (BOOL)application:(UIApplication *)application didFinishLaunchingWithOptions:(NSDictionary *)options;
- (void)applicationDidBecomeActive:(UIApplication *)application;
- (void)application:(UIApplication *)application didRegisterForRemoteNotificationsWithDeviceToken:(NSData *)token;
- (void)application:(UIApplication *)application didFailToRegisterForRemoteNotificationsWithError:(NSError *)error;
- (void)application:(UIApplication *)application
    didReceiveRemoteNotification:(NSDictionary *)userInfo
          fetchCompletionHandler:(void (^)(UIBackgroundFetchResult result))handler;
@end

/// The application's one object. Main thread.
@interface UIApplication : NSObject {
 @private
  id _delegate;
  NSSet *_answered;
  NSInteger _badge;
}
+ (UIApplication *)sharedApplication;

/// Not retained. Which optional methods the delegate has is examined when it is set, as on the platform.
- (id<UIApplicationDelegate>)delegate;
- (void)setDelegate:(id<UIApplicationDelegate>)delegate;

- (NSInteger)applicationIconBadgeNumber;
- (void)setApplicationIconBadgeNumber:(NSInteger)number;

/// Looks at the scheme alone.
- (BOOL)canOpenURL:(NSURL *)url;
/// Opens later: the handler follows on the main thread.
- (void)openURL:(NSURL *)url options:(NSDictionary *)options completionHandler:(void (^)(BOOL success))handler;

/// Asks for a device token, which the delegate receives.
- (void)registerForRemoteNotifications;
@end

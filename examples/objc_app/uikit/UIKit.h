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

/// Sends an action of the user interface. A nil target means the delegate, the last of the responder chain. Returns
/// whether the target has the action.
- (BOOL)sendAction:(SEL)action to:(id)target from:(id)sender forEvent:(id)event;
@end

/// Makes the delegate and keeps it, notifies it that launching has finished, and runs the main run loop. The system's
/// events come as in UISystemMain.h. Both class names may be nil.
int UIApplicationMain(int argc, char *argv[], NSString *principalClassName, NSString *delegateClassName);

#import "AppDelegate.h"

#import <PellionCoreLibrary/PellionCoreLibrary.h>
#import <PellionMessaging/PellionMessaging.h>

#import "NotificationDelegates.h"
#import "ShopDiary.h"

@implementation AppDelegate

- (BOOL)application:(UIApplication *)application didFinishLaunchingWithOptions:(NSDictionary *)options {
  (void)options;
  [self respondToNotificationsWith:[[NotificationDelegate new] autorelease]];
  [PLMessaging startService];
  [application registerForRemoteNotifications];
  return YES;
}

- (void)application:(UIApplication *)application
    didReceiveRemoteNotification:(NSDictionary *)userInfo
          fetchCompletionHandler:(void (^)(UIBackgroundFetchResult))handler {
  (void)application, (void)userInfo;
  ShopNoteCall(@"AppDelegate", @"background");
  ShopNoteAnswer(@"AppDelegate", @"background", @"newData");
  handler(UIBackgroundFetchResultNewData);
}

- (void)signIn:(id)sender {
  (void)sender;
  [self respondToNotificationsWith:[[MemberNotificationDelegate new] autorelease]];
}

- (void)respondToNotificationsWith:(id<UNUserNotificationCenterDelegate>)delegate {
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:delegate];
  [_notificationDelegate autorelease];
  _notificationDelegate = [delegate retain];
}

- (void)fillBasket:(id)count {
  [[UIApplication sharedApplication] setApplicationIconBadgeNumber:[count integerValue]];
}

- (void)order:(id)count {
  [[UNUserNotificationCenter currentNotificationCenter] setBadgeCount:[count integerValue] withCompletionHandler:nil];
}

- (void)count:(id)report {
  [PLCoreLibrary announceEngagement:report];
}

- (void)dealloc {
  [_notificationDelegate release];
  [super dealloc];
}

@end

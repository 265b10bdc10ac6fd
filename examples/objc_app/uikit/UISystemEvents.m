#import "UISystemEvents.h"

@interface UIApplication (Delegate)
- (id)delegateAnswering:(SEL)callback;
@end

static id applicationDelegate(SEL callback) {
  id delegate = [[UIApplication sharedApplication] delegateAnswering:callback];
  if (delegate == nil) UISystemTell(@"undelivered", NSStringFromSelector(callback));
  return delegate;
}

void UISystemDeliverDeviceToken(NSData *token) {
  SEL callback = @selector(application:didRegisterForRemoteNotificationsWithDeviceToken:);
  [applicationDelegate(callback) application:[UIApplication sharedApplication]
      didRegisterForRemoteNotificationsWithDeviceToken:token];
}

void UISystemFailToRegister(NSError *error) {
  SEL callback = @selector(application:didFailToRegisterForRemoteNotificationsWithError:);
  [applicationDelegate(callback) application:[UIApplication sharedApplication]
      didFailToRegisterForRemoteNotificationsWithError:error];
}

void UISystemDeliverInBackground(NSDictionary *userInfo) {
  SEL callback = @selector(application:didReceiveRemoteNotification:fetchCompletionHandler:);
  [applicationDelegate(callback) application:[UIApplication sharedApplication]
                didReceiveRemoteNotification:userInfo
                      fetchCompletionHandler:^(UIBackgroundFetchResult result) {
                        UISystemTell(@"fetched", [NSNumber numberWithUnsignedInteger:result]);
                      }];
}

static id centerDelegate(SEL callback) {
  id delegate = [[UNUserNotificationCenter currentNotificationCenter] delegate];
  if ([delegate respondsToSelector:callback]) return delegate;
  UISystemTell(@"undelivered", NSStringFromSelector(callback));
  return nil;
}

void UISystemDeliverInForeground(NSDictionary *userInfo) {
  SEL callback = @selector(userNotificationCenter:willPresentNotification:withCompletionHandler:);
  [centerDelegate(callback) userNotificationCenter:[UNUserNotificationCenter currentNotificationCenter]
                           willPresentNotification:[UNNotification notificationWithUserInfo:userInfo]
                             withCompletionHandler:^(UNNotificationPresentationOptions options) {
                               UISystemTell(@"presents", [NSNumber numberWithUnsignedInteger:options]);
                             }];
}

void UISystemDeliverResponse(NSDictionary *userInfo, NSString *actionIdentifier) {
  SEL callback = @selector(userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:);
  UNNotificationResponse *response =
      [[[UNNotificationResponse alloc] initWithNotification:[UNNotification notificationWithUserInfo:userInfo]
                                           actionIdentifier:actionIdentifier] autorelease];
  [centerDelegate(callback) userNotificationCenter:[UNUserNotificationCenter currentNotificationCenter]
                    didReceiveNotificationResponse:response
                             withCompletionHandler:^{
                               UISystemTell(@"response completed", nil);
                             }];
}

void UISystemBecomeActive(void) {
  UIApplication *application = [UIApplication sharedApplication];
  [[application delegateAnswering:@selector(applicationDidBecomeActive:)] applicationDidBecomeActive:application];
  [[NSNotificationCenter defaultCenter] postNotificationName:UIApplicationDidBecomeActiveNotification
                                                      object:application];
}

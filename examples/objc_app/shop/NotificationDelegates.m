#import "NotificationDelegates.h"

#import "ShopDiary.h"

@implementation NotificationDelegate

- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  (void)center, (void)notification;
  ShopNoteCall(@"NotificationDelegate", @"foreground");
  ShopNoteAnswer(@"NotificationDelegate", @"foreground", [NSArray arrayWithObject:@"banner"]);
  handler(UNNotificationPresentationOptionBanner);
}

- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler {
  (void)center, (void)response;
  ShopNoteCall(@"NotificationDelegate", @"response");
  ShopNoteAnswer(@"NotificationDelegate", @"response", nil);
  handler();
}

@end

@implementation MemberNotificationDelegate

- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  (void)center, (void)notification;
  ShopNoteCall(@"MemberNotificationDelegate", @"foreground");
  ShopNoteAnswer(@"MemberNotificationDelegate", @"foreground", [NSArray arrayWithObject:@"list"]);
  handler(UNNotificationPresentationOptionList);
}

- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler {
  (void)center, (void)response;
  ShopNoteCall(@"MemberNotificationDelegate", @"response");
  ShopNoteAnswer(@"MemberNotificationDelegate", @"response", nil);
  handler();
}

@end

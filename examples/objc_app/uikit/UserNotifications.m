#import "UserNotifications.h"

#import "UISystemListener.h"
#import "UIWeakSlot.h"

NSString *const UNNotificationDefaultActionIdentifier = @"com.apple.UNNotificationDefaultActionIdentifier";
NSString *const UNNotificationDismissActionIdentifier = @"com.apple.UNNotificationDismissActionIdentifier";

@implementation UNNotificationContent
- (id)initWithUserInfo:(NSDictionary *)userInfo {
  self = [super init];
  _userInfo = [userInfo copy];
  return self;
}
- (NSDictionary *)userInfo {
  return _userInfo;
}
- (void)dealloc {
  [_userInfo release];
  [super dealloc];
}
@end

@implementation UNNotificationRequest
- (id)initWithContent:(UNNotificationContent *)content {
  self = [super init];
  _content = [content retain];
  return self;
}
- (UNNotificationContent *)content {
  return _content;
}
- (void)dealloc {
  [_content release];
  [super dealloc];
}
@end

@implementation UNNotification
+ (UNNotification *)notificationWithUserInfo:(NSDictionary *)userInfo {
  UNNotificationContent *content = [[[UNNotificationContent alloc] initWithUserInfo:userInfo] autorelease];
  UNNotification *notification = [[UNNotification new] autorelease];
  notification->_request = [[UNNotificationRequest alloc] initWithContent:content];
  return notification;
}
- (UNNotificationRequest *)request {
  return _request;
}
- (void)dealloc {
  [_request release];
  [super dealloc];
}
@end

@implementation UNNotificationResponse
- (id)initWithNotification:(UNNotification *)notification actionIdentifier:(NSString *)identifier {
  self = [super init];
  _notification = [notification retain];
  _actionIdentifier = [identifier copy];
  return self;
}
- (UNNotification *)notification {
  return _notification;
}
- (NSString *)actionIdentifier {
  return _actionIdentifier;
}
- (void)dealloc {
  [_notification release];
  [_actionIdentifier release];
  [super dealloc];
}
@end

@implementation UNUserNotificationCenter
+ (UNUserNotificationCenter *)currentNotificationCenter {
  static UNUserNotificationCenter *current;
  if (current == nil) current = [UNUserNotificationCenter new];
  return current;
}
- (id<UNUserNotificationCenterDelegate>)delegate {
  return UILoadWeakSlot(&_delegate);
}
- (void)setDelegate:(id<UNUserNotificationCenterDelegate>)delegate {
  UIStoreWeakSlot(&_delegate, delegate);
}
- (void)setBadgeCount:(NSInteger)count withCompletionHandler:(void (^)(NSError *error))handler {
  UISystemTell(@"set badge", [NSNumber numberWithInteger:count]);
  void (^completion)(NSError *) = [[handler copy] autorelease];
  if (completion == nil) return;
  UISystemRunLater(^{
    completion(nil);
  });
}
@end

/// The runtime knows the protocols that classes adopt: so this one is also there where the application's classes are
/// made at run time.
@interface UNUserNotificationCenterDelegateAdopter : NSObject <UNUserNotificationCenterDelegate>
@end
@implementation UNUserNotificationCenterDelegateAdopter
@end

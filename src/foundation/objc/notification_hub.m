#import "foundation/objc/notification_hub.h"

@interface PLNotificationHub : NSObject
@end

@implementation PLNotificationHub
+ (void)receive:(NSNotification *)notification {
  foundation_notificationPosted(notification);
}
@end

void foundation_receiveNotifications(id name) {
  [[NSNotificationCenter defaultCenter] addObserver:[PLNotificationHub class]
                                           selector:@selector(receive:)
                                               name:name
                                             object:nil];
}

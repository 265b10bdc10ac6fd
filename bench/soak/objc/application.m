#import "bench/soak/objc/application.h"

#import "objc_app/uikit/UISystemEvents.h"

static NSMutableArray *events;

static void add(NSString *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  [events addObject:[[[NSString alloc] initWithFormat:format arguments:arguments] autorelease]];
  va_end(arguments);
}

@interface ShopDelegate : NSObject <UIApplicationDelegate>
@end
@implementation ShopDelegate
- (void)application:(UIApplication *)application didRegisterForRemoteNotificationsWithDeviceToken:(NSData *)token {
  (void)application;
  add(@"token %u", (unsigned)[token length]);
}
- (void)application:(UIApplication *)application
    didReceiveRemoteNotification:(NSDictionary *)userInfo
          fetchCompletionHandler:(void (^)(UIBackgroundFetchResult))handler {
  (void)application;
  add(@"background %u", (unsigned)[userInfo count]);
  handler(UIBackgroundFetchResultNewData);
}
@end

@interface ShopCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
@end
@implementation ShopCenterDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  (void)center;
  add(@"will present %u", (unsigned)[[[[notification request] content] userInfo] count]);
  handler(UNNotificationPresentationOptionSound);
}
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler {
  (void)center;
  add(@"response %@", [response actionIdentifier]);
  handler();
}
@end
@interface OtherCenterDelegate : ShopCenterDelegate
@end
@implementation OtherCenterDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  add(@"other");
  [super userNotificationCenter:center willPresentNotification:notification withCompletionHandler:handler];
}
@end

static id applicationDelegate;
static id centerDelegate;

void shop_launch(void) {
  events = [NSMutableArray new];
  UISystemSetListener(^(NSString *what, id details) {
    add(details != nil ? @"%@: %@" : @"%@", what, details);
  });
  applicationDelegate = [ShopDelegate new];
  centerDelegate = [ShopCenterDelegate new];
  [[UIApplication sharedApplication] setDelegate:applicationDelegate];
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:centerDelegate];
}

id shop_takeEvents(void) {
  NSArray *taken = [NSArray arrayWithArray:events];
  [events removeAllObjects];
  return taken;
}

bool shop_runUntil(bool (*isOver)(void *context), void *context) {
  NSDate *end = [NSDate dateWithTimeIntervalSinceNow:10];
  while (!isOver(context)) {
    if ([end timeIntervalSinceNow] < 0) return false;
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
    [pool drain];
  }
  return true;
}

void shop_deliverToken(id token) { UISystemDeliverDeviceToken(token); }
void shop_deliverInBackground(id userInfo) { UISystemDeliverInBackground(userInfo); }
void shop_deliverInForeground(id userInfo) { UISystemDeliverInForeground(userInfo); }
void shop_deliverResponse(id userInfo, id actionIdentifier) { UISystemDeliverResponse(userInfo, actionIdentifier); }
void shop_announce(id report) {
  [[NSNotificationCenter defaultCenter] postNotificationName:@"PLRateUsNotification" object:report];
}
void shop_setBadges(int application, int center) {
  [[UIApplication sharedApplication] setApplicationIconBadgeNumber:application];
  [[UNUserNotificationCenter currentNotificationCenter] setBadgeCount:center
                                                withCompletionHandler:^(NSError *error) {
                                                  add(@"badge completed %@", error);
                                                }];
}
void shop_replaceCenterDelegate(void) {
  id former = centerDelegate;
  centerDelegate = [OtherCenterDelegate new];
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:centerDelegate];
  [former release];
}

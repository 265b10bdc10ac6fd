#import "bench/objc/application.h"

#include <objc/runtime.h>

#import "objc_app/uikit/UIKit.h"
#import "objc_app/uikit/UserNotifications.h"

static unsigned long tokensReceived;
static unsigned long tokensIntercepted;
static unsigned long presented;
static id applicationDelegate;
static id centerDelegate;

@interface BenchDelegate : NSObject <UIApplicationDelegate>
@end
@implementation BenchDelegate
- (void)application:(UIApplication *)application didRegisterForRemoteNotificationsWithDeviceToken:(NSData *)token {
  (void)application, (void)token;
  ++tokensReceived;
}
- (void)application:(UIApplication *)application
    didReceiveRemoteNotification:(NSDictionary *)userInfo
          fetchCompletionHandler:(void (^)(UIBackgroundFetchResult))handler {
  (void)application, (void)userInfo;
  handler(UIBackgroundFetchResultNewData);
}
@end

@interface BenchInterceptor : NSObject <UIApplicationDelegate>
@end
@implementation BenchInterceptor
- (void)application:(UIApplication *)application didRegisterForRemoteNotificationsWithDeviceToken:(NSData *)token {
  (void)application, (void)token;
  ++tokensIntercepted;
}
@end

@interface BenchCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
@end
@implementation BenchCenterDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  (void)center, (void)notification, (void)handler;
  ++presented;
}
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler {
  (void)center, (void)response;
  handler();
}
@end

static IMP ownPresenting;
static IMP ownBadgeSetters[2];

static IMP code(Class cls, SEL selector) { return method_getImplementation(class_getInstanceMethod(cls, selector)); }
static IMP presentingCode(void) {
  return code([centerDelegate class], @selector(userNotificationCenter:willPresentNotification:withCompletionHandler:));
}
static IMP badgeSetter(int place) {
  return place == 0 ? code([UIApplication class], @selector(setApplicationIconBadgeNumber:))
                    : code([UNUserNotificationCenter class], @selector(setBadgeCount:withCompletionHandler:));
}

void bench_launch(void) {
  applicationDelegate = [BenchDelegate new];
  centerDelegate = [BenchCenterDelegate new];
  [[UIApplication sharedApplication] setDelegate:applicationDelegate];
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:centerDelegate];
  ownPresenting = presentingCode();
  for (int i = 0; i < 2; ++i) ownBadgeSetters[i] = badgeSetter(i);
}

id bench_makeInterceptor(void) { return [BenchInterceptor new]; }

void bench_deliverTokens(void *context, unsigned long times) {
  (void)context;
  UIApplication *application = [UIApplication sharedApplication];
  NSData *token = [NSData dataWithBytes:"\x0a\x0b" length:2];
  for (unsigned long i = 0; i < times; ++i) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    [applicationDelegate application:application didRegisterForRemoteNotificationsWithDeviceToken:token];
    [pool drain];
  }
}

void bench_presentForeign(void *context, unsigned long times) {
  (void)context;
  static const char json[] = "{\"aps\":{\"alert\":\"Somebody else's\"},\"thread\":\"news\"}";
  NSData *received = [NSData dataWithBytes:json length:sizeof json - 1];
  NSDictionary *userInfo = [NSJSONSerialization JSONObjectWithData:received options:0 error:NULL];
  UNNotification *notification = [UNNotification notificationWithUserInfo:userInfo];
  UNUserNotificationCenter *center = [UNUserNotificationCenter currentNotificationCenter];
  void (^handler)(UNNotificationPresentationOptions) = [[^(UNNotificationPresentationOptions options) {
    (void)options;
  } copy] autorelease];
  for (unsigned long i = 0; i < times; ++i) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    [centerDelegate userNotificationCenter:center willPresentNotification:notification withCompletionHandler:handler];
    [pool drain];
  }
}

unsigned long bench_tokensReceived(void) { return tokensReceived; }
unsigned long bench_tokensIntercepted(void) { return tokensIntercepted; }
unsigned long bench_presented(void) { return presented; }

bool bench_isPresentingReplaced(void) { return presentingCode() != ownPresenting; }
bool bench_isAllReplaced(void) {
  return bench_isPresentingReplaced() && badgeSetter(0) != ownBadgeSetters[0] && badgeSetter(1) != ownBadgeSetters[1] &&
         object_getClass(applicationDelegate) != [BenchDelegate class];
}

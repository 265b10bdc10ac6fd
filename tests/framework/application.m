#import "tests/framework/application.h"

#include <stdio.h>
#include <stdlib.h>

static NSMutableArray *notes;
static NSMutableArray *lines;
static int failures;

int framework_failures(void) { return failures; }

void checkEqual(const char *file, int line, NSString *got, NSString *wanted) {
  if ([got isEqualToString:wanted]) return;
  ++failures;
  fprintf(stderr, "%s:%d: got \"%s\", wanted \"%s\"\n", file, line, [got UTF8String], [wanted UTF8String]);
}

void note(NSString *event) { [notes addObject:event]; }
NSString *takeNotes(void) {
  NSString *text = [notes componentsJoinedByString:@", "];
  [notes removeAllObjects];
  return text;
}

/// For at most ten milliseconds.
static void turnRunLoop(void) {
  [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
}

void runUntilNoted(void) {
  NSDate *end = [NSDate dateWithTimeIntervalSinceNow:10];
  while ([notes count] == 0 && [end timeIntervalSinceNow] > 0) turnRunLoop();
}

void runQueue(void) {
  __block BOOL isOver = NO;
  UISystemRunLater(^{
    UISystemRunLater(^{
      UISystemRunLater(^{
        isOver = YES;
      });
    });
  });
  while (!isOver) turnRunLoop();
}

NSUInteger countOfLines(NSString *text) {
  NSUInteger count = 0;
  @synchronized(lines) {
    for (NSString *line in lines) count += [line rangeOfString:text].location != NSNotFound;
    [lines removeAllObjects];
  }
  return count;
}

NSString *raisedBy(void (^work)(void)) {
  @try {
    work();
  } @catch (NSException *exception) {
    return [NSString stringWithFormat:@"%@ %@", [exception name], [exception reason]];
  }
  return @"nothing";
}

NSString *newFolder(void) {
  char folder[] = "/tmp/framework_test.XXXXXX";
  return [NSString stringWithUTF8String:mkdtemp(folder)];
}

NSString *configurationFile(NSString *folder, NSDictionary *entries) {
  NSMutableDictionary *all = [NSMutableDictionary dictionaryWithDictionary:entries];
  [all setObject:@"http://127.0.0.1:1" forKey:@"SERVER_URL"];
  [all setObject:@"not-a-secret" forKey:@"JWT_SECRET"];
  NSString *file = [folder stringByAppendingPathComponent:@"PellionInfo.plist"];
  NSData *data = [NSPropertyListSerialization dataFromPropertyList:all
                                                            format:NSPropertyListXMLFormat_v1_0
                                                  errorDescription:NULL];
  [data writeToFile:file atomically:YES];
  return file;
}

void setUp(void) {
  [NSAutoreleasePool new];  // until the process ends
  notes = [NSMutableArray new];
  lines = [NSMutableArray new];
  [PLCoreLibrary setListener:^(NSString *actor, NSString *what, NSDictionary *details) {
    (void)actor, (void)what;
    @synchronized(lines) {
      [lines addObject:[NSString
                           stringWithFormat:@"%@ %@", [details objectForKey:@"tag"], [details objectForKey:@"text"]]];
    }
  }];
  NSDictionary *entries = [NSDictionary
      dictionaryWithObjectsAndKeys:@"device-1", @"DEVICE_ID", @"v1", @"APP_VERSION_ID", @"bearer-token",
                                   @"BEARER_TOKEN", @"group.framework", @"APP_GROUP",
                                   [NSDictionary dictionaryWithObject:@"Shop" forKey:@"name"], @"APP_META", nil];
  NSString *folder = newFolder();
  NSError *error = nil;
  CHECK([PLCoreLibrary useConfigurationFile:configurationFile(folder, entries) storage:folder error:&error]);
}

void launch(id delegate, id centerDelegate) {
  [[UIApplication sharedApplication] setDelegate:delegate];
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:centerDelegate];
  [PLMessaging startService];
}

NSDictionary *payload(int number) {
  return [NSDictionary
      dictionaryWithObjectsAndKeys:[NSString stringWithFormat:@"{\"pellionPnID\": %d}", number], @"addInfo", nil];
}
UNNotificationResponse *tapOn(NSDictionary *userInfo) {
  return [[[UNNotificationResponse alloc] initWithNotification:[UNNotification notificationWithUserInfo:userInfo]
                                              actionIdentifier:UNNotificationDefaultActionIdentifier] autorelease];
}
void deliverToken(const char *bytes) { UISystemDeliverDeviceToken([NSData dataWithBytes:bytes length:strlen(bytes)]); }
void deliverInForeground(int number) { UISystemDeliverInForeground(payload(number)); }

NSString *seenToken(void) {
  NSData *token = [PLMessaging shared].APNSToken;
  NSString *text = [[[NSString alloc] initWithData:token encoding:NSUTF8StringEncoding] autorelease];
  return text != nil ? text : @"";
}
NSString *seenNumber(void) {
  id number = [PLMessaging shared].pnID;
  return number != nil ? [number description] : @"";
}

@implementation Delegate
- (NSString *)name {
  return _name;
}
- (void)setName:(NSString *)name {
  [_name autorelease];
  _name = [name copy];
}
- (void)application:(UIApplication *)application didRegisterForRemoteNotificationsWithDeviceToken:(NSData *)token {
  (void)application, (void)token;
  note(@"token");
}
- (void)application:(UIApplication *)application
    didReceiveRemoteNotification:(NSDictionary *)userInfo
          fetchCompletionHandler:(void (^)(UIBackgroundFetchResult))handler {
  (void)application, (void)userInfo;
  note(@"background");
  handler(UIBackgroundFetchResultNewData);
}
- (void)dealloc {
  [_name release];
  [super dealloc];
}
@end

@implementation CenterDelegate
- (NSString *)name {
  return _name;
}
- (void)setName:(NSString *)name {
  [_name autorelease];
  _name = [name copy];
}
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
       willPresentNotification:(UNNotification *)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))handler {
  (void)center, (void)notification;
  note(@"present");
  handler(UNNotificationPresentationOptionBanner);
}
- (void)userNotificationCenter:(UNUserNotificationCenter *)center
    didReceiveNotificationResponse:(UNNotificationResponse *)response
             withCompletionHandler:(void (^)(void))handler {
  (void)center, (void)response;
  note(@"response");
  handler();
}
- (void)dealloc {
  [_name release];
  [super dealloc];
}
@end

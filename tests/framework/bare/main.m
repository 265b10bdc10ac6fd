// A program without UIKit, and without a core library unless it is linked with one: uses the module in all ways.
// The argument is the core library's configuration.
#import <PellionMessaging/PellionMessaging.h>

@interface NSObject (CoreLibrary)
+ (BOOL)useConfigurationFile:(NSString *)file storage:(NSString *)folder error:(NSError **)error;
@end

int main(int argc, char *argv[]) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  if (argc > 1) {
    NSString *file = [NSString stringWithUTF8String:argv[1]];
    [NSClassFromString(@"PLCoreLibrary") useConfigurationFile:file
                                                      storage:[file stringByDeletingLastPathComponent]
                                                        error:NULL];
  }
  [PLMessaging startService];
  PLMessaging *messaging = [PLMessaging shared];
  NSDictionary *payload = [NSDictionary dictionaryWithObject:@"{\"pellionPnID\": 7}" forKey:@"addInfo"];
  for (int i = 0; i < 2; ++i) {
    messaging.APNSToken = [NSData dataWithBytes:&i length:sizeof i];
    [messaging updateLogMsgIds:payload];
    [messaging updateBadgeCount:3];
    [[PLNotificationHandler shared] handleNotificationResponse:nil completionHandler:nil];
    [PLAppDelegateSwizzler registerAppDelegateInterceptor:payload];
  }
  printf("id %s, badge %ld\n", [[messaging.pnID description] UTF8String], (long)[messaging getBadgeCount]);
  [pool drain];
  return 0;
}

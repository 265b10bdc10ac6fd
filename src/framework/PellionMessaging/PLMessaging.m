#import <PellionMessaging/PLMessaging.h>

#import "foundation/objc/completed_class.h"
#import "framework/PellionMessaging/class_misuse.h"
#import "framework/PellionMessaging/module_calls.h"

// The observers' methods and the state are added in C++.
@interface PLMessaging (CompletedClass) <PLCompletedClass>
@end
@implementation PLMessaging (CompletedClass)
@end

@implementation PLMessaging

+ (void)startService {
  PLRefuseSubclass(self, [PLMessaging class], _cmd);
  if (![NSThread isMainThread]) {
    NSLog(@"PellionMessaging: +[PLMessaging startService] is called on a thread other than the main thread, but it "
          @"works on objects that belong to the main thread; call it in -application:didFinishLaunchingWithOptions:");
  }
  pl_startService();
}

+ (PLMessaging *)shared {
  PLRefuseSubclass(self, [PLMessaging class], _cmd);
  return pl_messaging();
}

+ (instancetype)alloc {
  PLRefuseInstance(self, _cmd, @"use +[PLMessaging shared]");
}
+ (instancetype)allocWithZone:(NSZone *)zone {
  (void)zone;
  PLRefuseInstance(self, _cmd, @"use +[PLMessaging shared]");
}
+ (instancetype)new {
  PLRefuseInstance(self, _cmd, @"use +[PLMessaging shared]");
}
- (instancetype)init {
  return self;
}
PL_IMMORTAL_INSTANCE

- (NSString *)pnToken {
  return nil;
}
- (NSData *)APNSToken {
  return pl_APNSToken();
}
- (void)setAPNSToken:(NSData *)token {
  pl_setAPNSToken(token);
}
- (NSData *)apnsToken {
  return pl_APNSToken();
}
- (NSSet *)pellionPnID {
  return [NSSet setWithArray:pl_pellionPnID()];
}
- (void)setPellionPnID:(NSSet *)identifiers {
  pl_setPellionPnID([identifiers allObjects]);
}
- (NSString *)conversionEvent {
  return pl_conversionEvent();
}
- (void)setConversionEvent:(NSString *)goal {
  pl_setConversionEvent(goal);
}
- (id)pnID {
  return pl_pnID();
}
- (void)setPnID:(id)identifier {
  pl_setPnID(identifier);
}

- (void)didFailToRegisterForRemoteNotificationsWithError:(NSError *)error {
  pl_didFailToRegister(error);
}
- (void)updateLogMsgIds:(NSDictionary *)payload {
  pl_updateLogMsgIds(payload);
}
- (void)appDidReceiveMessage:(NSDictionary *)payload withResponse:(id)response {
  pl_appDidReceiveMessage(payload, response);
}

- (id)findValueForKey:(NSString *)key inDictionary:(NSDictionary *)dictionary {
  return pl_findValue(key, dictionary);
}
- (NSDictionary *)getActionButtonById:(NSString *)identifier inArray:(NSArray *)buttons {
  return pl_actionButton(identifier, buttons);
}
- (id)parseBodyString:(NSString *)body {
  return pl_parsedBody(body);
}

- (void)updateBadgeCount:(NSInteger)count {
  pl_updateBadgeCount(count);
}
- (NSInteger)getBadgeCount {
  return (NSInteger)pl_badgeCount();
}

@end

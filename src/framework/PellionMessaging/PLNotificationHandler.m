#import <PellionMessaging/PLNotificationHandler.h>

#import "framework/PellionMessaging/class_misuse.h"
#import "framework/PellionMessaging/module_calls.h"

@implementation PLNotificationHandler

+ (PLNotificationHandler *)shared {
  static PLNotificationHandler *shared;
  PLRefuseSubclass(self, [PLNotificationHandler class], _cmd);
  @synchronized(self) {
    if (shared == nil) shared = NSAllocateObject(self, 0, NULL);
  }
  return shared;
}

+ (instancetype)alloc {
  PLRefuseInstance(self, _cmd, @"use +[PLNotificationHandler shared]");
}
+ (instancetype)allocWithZone:(NSZone *)zone {
  (void)zone;
  PLRefuseInstance(self, _cmd, @"use +[PLNotificationHandler shared]");
}
+ (instancetype)new {
  PLRefuseInstance(self, _cmd, @"use +[PLNotificationHandler shared]");
}
- (instancetype)init {
  return self;
}
PL_IMMORTAL_INSTANCE

- (void)handleNotificationResponse:(id)response completionHandler:(void (^)(void))completion {
  pl_handleNotificationResponse(response, completion);
}

- (NSString *)resolvedClickActionFromResponse:(id)response {
  return pl_resolvedClickAction(response);
}
- (NSDictionary *)addInfoDictionaryFromUserInfo:(NSDictionary *)userInfo {
  return pl_addInfo(userInfo);
}
- (NSString *)stringValue:(id)value {
  return pl_isStringValue(value) ? value : nil;
}
- (void)openClickAction:(NSString *)clickAction {
  pl_openClickAction(clickAction);
}

@end

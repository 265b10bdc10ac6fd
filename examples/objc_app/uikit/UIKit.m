#import "UIKit.h"

#import "UISystemListener.h"
#import "UIWeakSlot.h"

NSString *const UIApplicationDidBecomeActiveNotification = @"UIApplicationDidBecomeActiveNotification";

@interface UIApplication (Delegate)
- (id)delegateAnswering:(SEL)callback;
@end

@implementation UIApplication
+ (UIApplication *)sharedApplication {
  static UIApplication *shared;
  if (shared == nil) shared = [UIApplication new];
  return shared;
}

- (id<UIApplicationDelegate>)delegate {
  return UILoadWeakSlot(&_delegate);
}

- (void)setDelegate:(id<UIApplicationDelegate>)delegate {
  static NSString *const callbacks[] = {@"application:didFinishLaunchingWithOptions:", @"applicationDidBecomeActive:",
                                        @"application:didRegisterForRemoteNotificationsWithDeviceToken:",
                                        @"application:didFailToRegisterForRemoteNotificationsWithError:",
                                        @"application:didReceiveRemoteNotification:fetchCompletionHandler:"};
  UIStoreWeakSlot(&_delegate, delegate);
  NSMutableSet *answered = [NSMutableSet set];
  for (size_t i = 0; i < sizeof callbacks / sizeof *callbacks; ++i) {
    if ([delegate respondsToSelector:NSSelectorFromString(callbacks[i])]) [answered addObject:callbacks[i]];
  }
  [_answered release];
  _answered = [answered copy];
}

- (id)delegateAnswering:(SEL)callback {
  return [_answered containsObject:NSStringFromSelector(callback)] ? [self delegate] : nil;
}

- (NSInteger)applicationIconBadgeNumber {
  return _badge;
}
- (void)setApplicationIconBadgeNumber:(NSInteger)number {
  _badge = number;
  UISystemTell(@"set badge", [NSNumber numberWithInteger:number]);
}

// The schemes of the system, and those that the application's Info.plist declares.
- (BOOL)canOpenURL:(NSURL *)url {
  NSMutableArray *schemes = [NSMutableArray arrayWithObjects:@"http", @"https", @"mailto", @"tel", nil];
  for (NSDictionary *type in [[[NSBundle mainBundle] infoDictionary] objectForKey:@"CFBundleURLTypes"]) {
    [schemes addObjectsFromArray:[type objectForKey:@"CFBundleURLSchemes"]];
  }
  return [schemes containsObject:[[url scheme] lowercaseString]];
}

- (void)openURL:(NSURL *)url options:(NSDictionary *)options completionHandler:(void (^)(BOOL success))handler {
  (void)options;
  void (^completion)(BOOL) = [[handler copy] autorelease];
  BOOL isOpened = [self canOpenURL:url];
  NSNumber *isOnMainThread = [NSNumber numberWithBool:[NSThread isMainThread]];
  UISystemRunLater(^{
    UISystemTell(isOpened ? @"opened URL" : @"refused URL",
                 [NSDictionary dictionaryWithObjectsAndKeys:isOnMainThread, @"calledOnMainThread", [url absoluteString],
                                                            @"url", nil]);
    if (completion != nil) completion(isOpened);
  });
}

- (void)registerForRemoteNotifications {
  UISystemTell(@"asks for a device token", nil);
}

- (BOOL)sendAction:(SEL)action to:(id)target from:(id)sender forEvent:(id)event {
  (void)event;
  if (target == nil) target = [self delegate];
  if (![target respondsToSelector:action]) return NO;
  [target performSelector:action withObject:sender];
  return YES;
}
@end

/// The runtime knows the protocols that classes adopt: so this one is also there where the application's classes are
/// made at run time.
@interface UIApplicationDelegateAdopter : NSObject <UIApplicationDelegate>
@end
@implementation UIApplicationDelegateAdopter
@end

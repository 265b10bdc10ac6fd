#import <PellionMessaging/PLAppDelegateSwizzler.h>

#import "foundation/objc/completed_class.h"
#import "framework/PellionMessaging/class_misuse.h"
#import "framework/PellionMessaging/module_calls.h"

// The methods that are copied into the delegate's subclass are added in C++.
@interface PLAppDelegateSwizzler (CompletedClass) <PLCompletedClass>
@end
@implementation PLAppDelegateSwizzler (CompletedClass)
@end

@implementation PLAppDelegateSwizzler

+ (NSString *)registerAppDelegateInterceptor:(id)interceptor {
  PLRefuseSubclass(self, [PLAppDelegateSwizzler class], _cmd);
  return pl_registerInterceptor(interceptor);
}
+ (void)unregisterAppDelegateInterceptorWithIdentifier:(NSString *)identifier {
  PLRefuseSubclass(self, [PLAppDelegateSwizzler class], _cmd);
  pl_unregisterInterceptor(identifier);
}
+ (BOOL)isAppDelegateProxyEnabled {
  return pl_isAppDelegateProxyEnabled();
}

+ (id)alloc {
  PLRefuseInstance(self, _cmd, @"use its class methods");
}
+ (id)allocWithZone:(NSZone *)zone {
  (void)zone;
  PLRefuseInstance(self, _cmd, @"use its class methods");
}
+ (id)new {
  PLRefuseInstance(self, _cmd, @"use its class methods");
}

@end

#import "tests/foundation/runtime_cases.h"

#import "foundation/objc/completed_class.h"

@interface Base : NSObject
@end
@implementation Base
- (int)number {
  return 1;
}
- (int)other {
  return 2;
}
@end
@interface Derived : Base
@end
@implementation Derived
- (void)touch {
}
@end
@interface NSObject (Number)
- (int)number;
+ (int)number;
@end

int cases_number(id object) { return [object number]; }
int cases_classNumber(const char *name) { return [NSClassFromString([NSString stringWithUTF8String:name]) number]; }

@protocol Parent
@optional
- (void)run:(void (^)(int))block;
@end
@protocol Child <Parent>
- (int)required;
@optional
- (BOOL)isOptional;
@end
@interface Adopter : NSObject <Child>
@end
@implementation Adopter
- (int)required {
  return 0;
}
@end

/// Completed in C++.
@interface Completed : NSObject <PLCompletedClass>
@end
@implementation Completed
+ (int)number {
  return 7;
}
@end

/// Takes arguments of every kind, so many that some are on the stack.
@interface Summing : NSObject
@end
@implementation Summing
- (double)sumOf:(float)a and:(double)b and:(long)c and:(BOOL)d and:(id)e and:(int)f and:(short)g and:(long)h {
  return (double)a + b + (double)c + d + [e doubleValue] + f + g + (double)h;
}
- (float)half:(float)number {
  return number / 2;
}
- (void)raiseFor:(double)number {
  [NSException raise:@"SummingException" format:@"for %g", number];
}
@end

static double forwarded;
double cases_takeForwarded(void) {
  double taken = forwarded;
  forwarded = 0;
  return taken;
}
@interface Forwarder : NSObject
@end
@implementation Forwarder
- (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
  NSMethodSignature *signature = [Summing instanceMethodSignatureForSelector:selector];
  return signature != nil ? signature : [super methodSignatureForSelector:selector];
}
- (void)forwardInvocation:(NSInvocation *)invocation {
  Summing *target = [[Summing new] autorelease];
  [invocation invokeWithTarget:target];
  float result = 0;
  [invocation getReturnValue:&result];
  forwarded += (double)result;
}
@end

void cases_withCountingBlock(id object, void (*use)(void *context, id block), void *context) {
  __block int count = 0;
  use(
      context, (id) ^ {
        count += object != nil;
        return count;
      });
}
int cases_callNumberBlock(id block) { return ((int (^)(void))block)(); }

bool cases_makesSignature(const char *types) { return [NSMethodSignature signatureWithObjCTypes:types] != nil; }

id cases_date(void) { return [NSDate dateWithTimeIntervalSince1970:0]; }
id cases_arrayInItself(void) {
  static NSMutableArray *array;
  if (array == nil) {
    array = [NSMutableArray new];
    NSMutableArray *element = array;
    [array addObject:element];
  }
  return array;
}

void cases_turnRunLoop(const char *mode) {
  [[NSRunLoop currentRunLoop] runMode:[NSString stringWithUTF8String:mode]
                           beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
}

id cases_caughtFrom(id receiver, const char *selector, bool *finallyRan) {
  @try {
    @try {
      [receiver performSelector:NSSelectorFromString([NSString stringWithUTF8String:selector])];
    } @finally {
      *finallyRan = true;
    }
  } @catch (NSException *exception) {
    return [exception name];
  }
  return nil;
}

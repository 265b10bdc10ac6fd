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
/// Refuses its first observer; its number is how many wanted to observe it.
@interface Refusing : NSObject {
 @private
  int _number;
}
@end
@implementation Refusing
- (int)number {
  return _number;
}
- (void)addObserver:(NSObject *)observer
         forKeyPath:(NSString *)keyPath
            options:(NSKeyValueObservingOptions)options
            context:(void *)context {
  (void)observer, (void)keyPath, (void)options, (void)context;
  if (++_number == 1) [NSException raise:@"RefusingException" format:@"not yet"];
}
- (void)removeObserver:(NSObject *)observer forKeyPath:(NSString *)keyPath {
  (void)observer, (void)keyPath;
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
@interface CompletedWithVariable : NSObject <PLCompletedClass> {
 @public
  int _number;
}
@end
@implementation CompletedWithVariable
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
- (void)raiseKept {
  @throw cases_keptException();
}
- (void)raiseNumber {
  @throw [NSNumber numberWithInt:7];
}
@end

id cases_keptException(void) {
  static NSException *kept;
  if (kept == nil) kept = [[NSException alloc] initWithName:@"KeptException" reason:@"kept" userInfo:nil];
  return kept;
}

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

void cases_withCountingBlock(id object, id borrowed, void (*use)(void *context, id block), void *context) {
  __block int count = 0;
  __block id unretained = borrowed;
  int (^counting)(void) = ^{
    count += object != nil && unretained != nil;
    return count;
  };
  use(
      context, (id) ^ { return counting(); });
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

id cases_brokenText(void) {
  NSMutableString *text = [NSMutableString stringWithString:@"a\U0001F916b"];
  [text deleteCharactersInRange:NSMakeRange(2, 1)];
  return text;
}

@interface Representative : NSProxy {
 @public
  id _object;
}
@end
@implementation Representative
- (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
  return [_object methodSignatureForSelector:selector];
}
- (void)forwardInvocation:(NSInvocation *)invocation {
  [invocation invokeWithTarget:_object];
}
@end
id cases_proxyOf(id object) {
  Representative *proxy = [[Representative alloc] autorelease];
  proxy->_object = object;
  return proxy;
}

static id caughtFrom(void (^work)(void), bool *finallyRan) {
  @try {
    @try {
      work();
    } @finally {
      *finallyRan = true;
    }
  } @catch (NSException *exception) {
    return exception;
  }
  return nil;
}
id cases_caughtFrom(id receiver, const char *selector, bool *finallyRan) {
  return caughtFrom(
      ^{
        [receiver performSelector:NSSelectorFromString([NSString stringWithUTF8String:selector])];
      },
      finallyRan);
}
id cases_caughtFromPost(const char *name, bool *finallyRan) {
  return caughtFrom(
      ^{
        [[NSNotificationCenter defaultCenter] postNotificationName:[NSString stringWithUTF8String:name] object:nil];
      },
      finallyRan);
}

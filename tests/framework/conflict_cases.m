// Other kits that change the delegates, and delegates of unusual kinds. docs/interception.md says what happens.
#import "tests/framework/application.h"

#include <objc/runtime.h>

static SEL tokenSelector(void) { return @selector(application:didRegisterForRemoteNotificationsWithDeviceToken:); }
static SEL presentSelector(void) {
  return @selector(userNotificationCenter:willPresentNotification:withCompletionHandler:);
}

/// Methods of another kit; each calls what it was exchanged with.
@interface Kit : NSObject
@end
@implementation Kit
- (void)kit_application:(id)application didRegister:(NSData *)token {
  note(@"kit");
  [self kit_application:application didRegister:token];
}
- (void)kit_center:(id)center present:(id)notification handler:(id)handler {
  note(@"kit");
  [self kit_center:center present:notification handler:handler];
}
@end

static void addKitMethod(Class cls, SEL selector) {
  Method method = class_getInstanceMethod([Kit class], selector);
  class_addMethod(cls, selector, method_getImplementation(method), method_getTypeEncoding(method));
}
static void exchange(Class cls, SEL selector, SEL kitSelector) {
  addKitMethod(cls, kitSelector);
  method_exchangeImplementations(class_getInstanceMethod(cls, selector), class_getInstanceMethod(cls, kitSelector));
}
static void exchangeInBoth(void) {
  exchange([Delegate class], tokenSelector(), @selector(kit_application:didRegister:));
  exchange([CenterDelegate class], presentSelector(), @selector(kit_center:present:handler:));
}

static void methodsExchangedBeforeTheStart(void) {
  setUp();
  exchangeInBoth();
  launch([Delegate new], [CenterDelegate new]);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"kit, token");
  CHECK_EQUAL(seenToken(), @"a");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"kit, present");
  CHECK_EQUAL(seenNumber(), @"1");
}

static void methodsOfTheApplicationsDelegateExchangedAfterTheStart(void) {
  setUp();
  launch([Delegate new], nil);
  exchange([Delegate class], tokenSelector(), @selector(kit_application:didRegister:));
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token");  // the kit's is not called
  CHECK_EQUAL(seenToken(), @"a");
}

static void methodsOfTheDelegatesSubclassExchangedAfterTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  launch(delegate, nil);
  exchange(object_getClass(delegate), tokenSelector(), @selector(kit_application:didRegister:));
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"kit, token");
  CHECK_EQUAL(seenToken(), @"a");
}

static void methodsOfTheCenterDelegateExchangedAfterTheStart(void) {
  setUp();
  launch(nil, [CenterDelegate new]);
  exchange([CenterDelegate class], presentSelector(), @selector(kit_center:present:handler:));
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"kit");  // the application's is lost
  CHECK_EQUAL(seenNumber(), @"1");
}

/// What a subclass made at run time has: it calls the method of its superclass.
static Class kitSuperclass;
static void kitDidRegister(id self, SEL selector, id application, id token) {
  note(@"kit");
  IMP inherited = class_getMethodImplementation(kitSuperclass, selector);
  ((void (*)(id, SEL, id, id))inherited)(self, selector, application, token);
}
static void kitPresent(id self, SEL selector, id center, id notification, id handler) {
  note(@"kit");
  IMP inherited = class_getMethodImplementation(kitSuperclass, selector);
  ((void (*)(id, SEL, id, id, id))inherited)(self, selector, center, notification, handler);
}
static Class hiddenClass(id self, SEL selector) {
  (void)self, (void)selector;
  return kitSuperclass;
}

static void derive(id object, SEL selector, IMP implementation, BOOL hides) {
  kitSuperclass = object_getClass(object);
  Class subclass = objc_allocateClassPair(kitSuperclass, "KitSubclass", 0);
  class_addMethod(subclass, selector, implementation,
                  method_getTypeEncoding(class_getInstanceMethod(kitSuperclass, selector)));
  if (hides) class_addMethod(subclass, @selector(class), (IMP)hiddenClass, "#@:");
  objc_registerClassPair(subclass);
  object_setClass(object, subclass);
}

static void subclassDerivedBeforeTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  derive(delegate, tokenSelector(), (IMP)kitDidRegister, NO);
  launch(delegate, nil);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"kit, token");
  CHECK_EQUAL(seenToken(), @"a");
}

static void hiddenSubclassDerivedBeforeTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  derive(delegate, tokenSelector(), (IMP)kitDidRegister, YES);
  launch(delegate, nil);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token");  // the kit's is not called again
  CHECK_EQUAL(seenToken(), @"a");
}

static void subclassesDerivedAfterTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  launch(delegate, nil);
  derive(delegate, tokenSelector(), (IMP)kitDidRegister, NO);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"kit, token");
  CHECK_EQUAL(seenToken(), @"a");
}

static void hiddenSubclassOfTheCenterDelegateAfterTheStart(void) {
  setUp();
  CenterDelegate *former = [CenterDelegate new];
  launch(nil, former);
  derive(former, presentSelector(), (IMP)kitPresent, YES);
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"kit, present");
  CHECK_EQUAL(seenNumber(), @"1");
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:nil];
  deliverInForeground(2);
  CHECK_EQUAL(seenNumber(), @"1");
  CHECK_EQUAL(takeNotes(), @"");
}

/// Observes "name" by KVO.
@interface NameObserver : NSObject
@end
@implementation NameObserver
- (void)observeValueForKeyPath:(NSString *)path
                      ofObject:(id)object
                        change:(NSDictionary *)change
                       context:(void *)context {
  (void)path, (void)object, (void)context;
  note([NSString stringWithFormat:@"name %@", [change objectForKey:NSKeyValueChangeNewKey]]);
}
@end

static void observe(id object) {
  [object addObserver:[NameObserver new] forKeyPath:@"name" options:NSKeyValueObservingOptionNew context:NULL];
}

static void delegatesObservedBeforeTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  CenterDelegate *centerDelegate = [CenterDelegate new];
  observe(delegate);
  observe(centerDelegate);
  launch(delegate, centerDelegate);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token");
  CHECK_EQUAL(seenToken(), @"a");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"present");
  CHECK_EQUAL(seenNumber(), @"1");
  [delegate setName:@"x"];
  CHECK_EQUAL(takeNotes(), @"");  // its observing has ended
  [centerDelegate setName:@"y"];
  CHECK_EQUAL(takeNotes(), @"name y");
}

static void delegatesObservedAfterTheStart(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  CenterDelegate *centerDelegate = [CenterDelegate new];
  launch(delegate, centerDelegate);
  observe(delegate);
  observe(centerDelegate);
  [delegate setName:@"x"];
  [centerDelegate setName:@"y"];
  CHECK_EQUAL(takeNotes(), @"name x, name y");
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token");
  CHECK_EQUAL(seenToken(), @"a");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"present");
  CHECK_EQUAL(seenNumber(), @"1");
}

/// Stands for another object.
@interface Proxy : NSProxy {
 @private
  id _target;
}
+ (Proxy *)proxyOf:(id)target;
@end
@implementation Proxy
+ (Proxy *)proxyOf:(id)target {
  Proxy *proxy = [Proxy alloc];
  proxy->_target = [target retain];
  return proxy;
}
- (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
  return [_target methodSignatureForSelector:selector];
}
- (void)forwardInvocation:(NSInvocation *)invocation {
  [invocation invokeWithTarget:_target];
}
- (void)dealloc {
  [_target release];
  [super dealloc];
}
@end

static void theApplicationsDelegateIsAProxy(void) {
  setUp();
  Proxy *proxy = [Proxy proxyOf:[Delegate new]];
  launch((id)proxy, nil);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"");  // the other object no longer receives it
  CHECK_EQUAL(seenToken(), @"a");
  [(id)proxy setName:@"x"];
  CHECK_EQUAL([(id)proxy name], @"x");
}

static void theCenterDelegateIsAProxy(void) {
  setUp();
  launch(nil, (id)[Proxy proxyOf:[CenterDelegate new]]);
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"");
  CHECK_EQUAL(seenNumber(), @"1");
}

/// Declares the protocols and forwards their methods.
@interface Forwarder : NSObject <UIApplicationDelegate, UNUserNotificationCenterDelegate> {
 @private
  id _target;
}
- (id)initWithTarget:(id)target;
@end
@implementation Forwarder
- (id)initWithTarget:(id)target {
  self = [super init];
  _target = [target retain];
  return self;
}
- (BOOL)respondsToSelector:(SEL)selector {
  return [super respondsToSelector:selector] || [_target respondsToSelector:selector];
}
- (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
  NSMethodSignature *signature = [super methodSignatureForSelector:selector];
  return signature != nil ? signature : [_target methodSignatureForSelector:selector];
}
- (void)forwardInvocation:(NSInvocation *)invocation {
  [invocation invokeWithTarget:_target];
}
- (void)dealloc {
  [_target release];
  [super dealloc];
}
@end

static void theApplicationsDelegateForwards(void) {
  setUp();
  launch((id)[[Forwarder alloc] initWithTarget:[Delegate new]], nil);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"");  // the other object no longer receives it
  CHECK_EQUAL(seenToken(), @"a");
}

static void theCenterDelegateForwards(void) {
  setUp();
  Forwarder *forwarder = [[Forwarder alloc] initWithTarget:[CenterDelegate new]];
  UNUserNotificationCenter *center = [UNUserNotificationCenter currentNotificationCenter];
  launch(nil, (id)forwarder);
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"");
  CHECK_EQUAL(seenNumber(), @"1");
  [center setDelegate:nil];
  [(id)forwarder userNotificationCenter:center
                willPresentNotification:[UNNotification notificationWithUserInfo:payload(2)]
                  withCompletionHandler:^(UNNotificationPresentationOptions options) {
                    note([NSString stringWithFormat:@"presents %u", (unsigned)options]);
                  }];
  CHECK_EQUAL(takeNotes(), @"present, presents 16");  // it forwards again
  CHECK_EQUAL(seenNumber(), @"1");
}

const struct framework_Case framework_conflictCases[] = {CASE(methodsExchangedBeforeTheStart),
                                                         CASE(methodsOfTheApplicationsDelegateExchangedAfterTheStart),
                                                         CASE(methodsOfTheDelegatesSubclassExchangedAfterTheStart),
                                                         CASE(methodsOfTheCenterDelegateExchangedAfterTheStart),
                                                         CASE(subclassDerivedBeforeTheStart),
                                                         CASE(hiddenSubclassDerivedBeforeTheStart),
                                                         CASE(subclassesDerivedAfterTheStart),
                                                         CASE(hiddenSubclassOfTheCenterDelegateAfterTheStart),
                                                         CASE(delegatesObservedBeforeTheStart),
                                                         CASE(delegatesObservedAfterTheStart),
                                                         CASE(theApplicationsDelegateIsAProxy),
                                                         CASE(theCenterDelegateIsAProxy),
                                                         CASE(theApplicationsDelegateForwards),
                                                         CASE(theCenterDelegateForwards),
                                                         END_OF_CASES};

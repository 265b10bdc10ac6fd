#import "bench/objc/by_hand.h"

#include <objc/runtime.h>

#import "objc_app/uikit/UIKit.h"
#import "objc_app/uikit/UserNotifications.h"

// Declared by no header of this runtime.
extern void objc_setAssociatedObject(id object, const void *key, id value, uintptr_t policy);
extern id objc_getAssociatedObject(id object, const void *key);
extern id objc_storeWeak(id *slot, id object);
extern id objc_loadWeakRetained(id *slot);
enum { retainNonatomic = 1 };

/// A container that does not keep its object alive.
@interface ByHandContainer : NSObject {
  id _object;
}
- (id)initWithObject:(id)object;
- (id)object;
@end
@implementation ByHandContainer
- (id)initWithObject:(id)object {
  self = [super init];
  objc_storeWeak(&_object, object);
  return self;
}
- (id)object {
  return [objc_loadWeakRetained(&_object) autorelease];
}
- (void)dealloc {
  objc_storeWeak(&_object, nil);
  [super dealloc];
}
@end

/// The application's own code of the three callbacks, attached to its delegate.
@interface ByHandOwnCode : NSObject {
 @public
  IMP token;
  IMP failure;
  IMP receipt;
}
@end
@implementation ByHandOwnCode
@end

static const char ownCodeKey = 0;
static NSMutableArray *interceptors;

static ByHandOwnCode *ownCodeOf(id delegate) { return objc_getAssociatedObject(delegate, &ownCodeKey); }

static void tokenReceived(id self, SEL selector, id application, id token) {
  IMP own = ownCodeOf(self)->token;
  for (ByHandContainer *container in [[interceptors copy] autorelease]) {
    id interceptor = [container object];
    if ([interceptor respondsToSelector:selector]) {
      [interceptor application:application didRegisterForRemoteNotificationsWithDeviceToken:token];
    }
  }
  if (own != NULL) ((void (*)(id, SEL, id, id))own)(self, selector, application, token);
}

static void failureReceived(id self, SEL selector, id application, id error) {
  IMP own = ownCodeOf(self)->failure;
  for (ByHandContainer *container in [[interceptors copy] autorelease]) {
    id interceptor = [container object];
    if ([interceptor respondsToSelector:selector]) {
      [interceptor application:application didFailToRegisterForRemoteNotificationsWithError:error];
    }
  }
  if (own != NULL) ((void (*)(id, SEL, id, id))own)(self, selector, application, error);
}

static void notificationReceived(id self, SEL selector, id application, id userInfo, id handler) {
  IMP own = ownCodeOf(self)->receipt;
  if (own != NULL) ((void (*)(id, SEL, id, id, id))own)(self, selector, application, userInfo, handler);
}

@interface ByHandObserver : NSObject <UIApplicationDelegate>
@end
@implementation ByHandObserver
- (void)observeValueForKeyPath:(NSString *)keyPath
                      ofObject:(id)object
                        change:(NSDictionary *)change
                       context:(void *)context {
  (void)keyPath, (void)object, (void)change, (void)context;
}
- (void)engaged:(NSNotification *)notification {
  (void)notification;
}
- (void)becameActive:(NSNotification *)notification {
  (void)notification;
}
- (void)byHandSetApplicationIconBadgeNumber:(NSInteger)number {
  [(id)self byHandSetApplicationIconBadgeNumber:number];
}
- (void)byHandSetBadgeCount:(NSInteger)count withCompletionHandler:(void (^)(NSError *))handler {
  [(id)self byHandSetBadgeCount:count withCompletionHandler:handler];
}
@end

static id observer(void) {
  static id shared;
  if (shared == nil) shared = [ByHandObserver new];
  return shared;
}
static void observeDelegate(id object) {
  [object addObserver:observer()
           forKeyPath:@"delegate"
              options:NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld
              context:NULL];
}

/// The application object examines its delegate only when it is set.
static void setDelegateAgain(id delegate) {
  [[UIApplication sharedApplication] setDelegate:nil];
  [[UIApplication sharedApplication] setDelegate:delegate];
}

static Class makeSubclass(id delegate) {
  NSString *name = [NSString stringWithFormat:@"ByHand_%@-%@", NSStringFromClass([delegate class]),
                                              [[NSProcessInfo processInfo] globallyUniqueString]];
  if (NSClassFromString(name) != Nil) return Nil;
  Class cls = objc_allocateClassPair([delegate class], [name UTF8String], 0);
  objc_registerClassPair(cls);
  object_setClass(delegate, cls);
  return cls;
}

/// Returns the code that the delegate's own class has.
static IMP intercept(Class cls, SEL selector, IMP code) {
  Method method = class_getInstanceMethod(class_getSuperclass(cls), selector);
  class_addMethod(cls, selector, code, method != NULL ? method_getTypeEncoding(method) : "v@:@@@?");
  return method != NULL ? method_getImplementation(method) : NULL;
}

void byHand_replaceDelegateMethods(void) {
  interceptors = [NSMutableArray new];
  id delegate = [[UIApplication sharedApplication] delegate];
  if (![delegate conformsToProtocol:NSProtocolFromString(@"UIApplicationDelegate")]) return;
  Class cls = makeSubclass(delegate);
  setDelegateAgain(delegate);
  observeDelegate([UIApplication sharedApplication]);
  ByHandOwnCode *own = [[ByHandOwnCode new] autorelease];
  own->token =
      intercept(cls, @selector(application:didRegisterForRemoteNotificationsWithDeviceToken:), (IMP)tokenReceived);
  own->failure =
      intercept(cls, @selector(application:didFailToRegisterForRemoteNotificationsWithError:), (IMP)failureReceived);
  own->receipt = intercept(cls, @selector(application:didReceiveRemoteNotification:fetchCompletionHandler:),
                           (IMP)notificationReceived);
  objc_setAssociatedObject(delegate, &ownCodeKey, own, retainNonatomic);
  setDelegateAgain(delegate);
}

void byHand_addInterceptor(id interceptor) {
  [interceptors addObject:[[[ByHandContainer alloc] initWithObject:interceptor] autorelease]];
}

static IMP ownPresenting;
static IMP ownResponding;
static unsigned long payloadsFound;

/// The value of the first such key, at any depth.
static id valueForKey(NSString *wanted, id container) {
  if ([container isKindOfClass:[NSDictionary class]]) {
    for (NSString *key in container) {
      id value = [container objectForKey:key];
      if ([key isEqualToString:wanted]) return value;
      id found = valueForKey(wanted, value);
      if (found != nil) return found;
    }
  } else if ([container isKindOfClass:[NSArray class]]) {
    for (id element in container) {
      id found = valueForKey(wanted, element);
      if (found != nil) return found;
    }
  }
  return nil;
}

static id property(id object, SEL getter, Class cls) {
  if (![object respondsToSelector:getter]) return nil;
  id value = [object performSelector:getter];
  return [value isKindOfClass:cls] ? value : nil;
}

static void readPayload(id notification) {
  id request = property(notification, @selector(request), [UNNotificationRequest class]);
  id content = property(request, @selector(content), [UNNotificationContent class]);
  id userInfo = property(content, @selector(userInfo), [NSDictionary class]);
  if (valueForKey(@"addInfo", userInfo) != nil) ++payloadsFound;
}

static void presenting(id self, SEL selector, id center, id notification, id handler) {
  if ([center isKindOfClass:[UNUserNotificationCenter class]] && [notification isKindOfClass:[UNNotification class]] &&
      handler != nil) {
    readPayload(notification);
  }
  if (ownPresenting != NULL)
    ((void (*)(id, SEL, id, id, id))ownPresenting)(self, selector, center, notification, handler);
}

static void responding(id self, SEL selector, id center, id response, id handler) {
  if ([response isKindOfClass:[UNNotificationResponse class]] && handler != nil) readPayload([response notification]);
  if (ownResponding != NULL) ((void (*)(id, SEL, id, id, id))ownResponding)(self, selector, center, response, handler);
}

static IMP replace(Class cls, SEL selector, IMP code) {
  Method method = class_getInstanceMethod(cls, selector);
  return method != NULL ? method_setImplementation(method, code) : NULL;
}

void byHand_replaceCenterDelegateMethods(void) {
  id delegate = [[UNUserNotificationCenter currentNotificationCenter] delegate];
  if (![delegate conformsToProtocol:NSProtocolFromString(@"UNUserNotificationCenterDelegate")]) return;
  ownPresenting =
      replace([delegate class], @selector(userNotificationCenter:willPresentNotification:withCompletionHandler:),
              (IMP)presenting);
  ownResponding =
      replace([delegate class], @selector(userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:),
              (IMP)responding);
}

static void exchange(Class cls, SEL selector, SEL donorSelector) {
  Method donor = class_getInstanceMethod([ByHandObserver class], donorSelector);
  class_addMethod(cls, donorSelector, method_getImplementation(donor), method_getTypeEncoding(donor));
  method_exchangeImplementations(class_getInstanceMethod(cls, selector), class_getInstanceMethod(cls, donorSelector));
}

void byHand_startService(void) {
  NSNotificationCenter *notifications = [NSNotificationCenter defaultCenter];
  [notifications addObserver:observer() selector:@selector(engaged:) name:@"PLRateUsNotification" object:nil];
  [notifications addObserver:observer()
                    selector:@selector(becameActive:)
                        name:UIApplicationDidBecomeActiveNotification
                      object:nil];
  byHand_replaceDelegateMethods();
  exchange([UIApplication class], @selector(setApplicationIconBadgeNumber:),
           @selector(byHandSetApplicationIconBadgeNumber:));
  exchange([UNUserNotificationCenter class], @selector(setBadgeCount:withCompletionHandler:),
           @selector(byHandSetBadgeCount:withCompletionHandler:));
  byHand_addInterceptor(observer());
  byHand_replaceCenterDelegateMethods();
  observeDelegate([UNUserNotificationCenter currentNotificationCenter]);
}

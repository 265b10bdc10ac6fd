// What an application may do wrong. Nothing crashes; what cannot go on says why.
#import "tests/framework/application.h"

#include <objc/runtime.h>

static void startsWithoutADelegate(void) {
  setUp();
  launch(nil, nil);
  deliverToken("a");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"");
  CHECK_EQUAL(seenToken(), @"");
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:[CenterDelegate new]];  // may be set later
  deliverInForeground(2);
  CHECK_EQUAL(takeNotes(), @"present");
  CHECK_EQUAL(seenNumber(), @"2");
}

static void startsTwice(void) {
  setUp();
  launch([Delegate new], [CenterDelegate new]);
  [PLMessaging startService];
  deliverToken("a");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"token, present");
  CHECK(countOfLines(@"Push notification JSON payload") == 1);
}

@interface Starter : NSObject
@end
@implementation Starter
+ (void)start:(NSConditionLock *)lock {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  [PLMessaging startService];
  [pool drain];
  [lock lock];
  [lock unlockWithCondition:1];
}
@end

static void startsOnAnotherThread(void) {
  setUp();
  [[UIApplication sharedApplication] setDelegate:[Delegate new]];
  NSConditionLock *lock = [[NSConditionLock alloc] initWithCondition:0];
  [NSThread detachNewThreadSelector:@selector(start:) toTarget:[Starter class] withObject:lock];
  [lock lockWhenCondition:1];
  [lock unlock];
  deliverToken("a");  // it runs on the caller's thread
  CHECK_EQUAL(takeNotes(), @"token");
  CHECK_EQUAL(seenToken(), @"a");
}

static BOOL canOpenAll(id self, SEL selector, NSURL *url) {
  (void)self, (void)selector;
  note([NSString stringWithFormat:@"can open %@", url]);
  return YES;
}

static void aURLThatFoundationRefusesIsNotOpened(void) {
  setUp();
  launch([Delegate new], [CenterDelegate new]);
  method_setImplementation(class_getInstanceMethod([UIApplication class], @selector(canOpenURL:)), (IMP)canOpenAll);
  UISystemSetListener(^(NSString *what, id details) {
    note([NSString stringWithFormat:@"%@ %@", what, details]);
  });
  NSDictionary *info = [NSDictionary dictionaryWithObject:@"{\"pellionPnID\": 1, \"clickAction\": \"https://[v1.x]/\"}"
                                                   forKey:@"addInfo"];
  UISystemDeliverResponse(info, UNNotificationDefaultActionIdentifier);
  CHECK_EQUAL(takeNotes(), @"response, response completed (null)");
  [[PLNotificationHandler shared] handleNotificationResponse:tapOn(info) completionHandler:nil];
  runQueue();
  CHECK_EQUAL(takeNotes(), @"");
}

static void delegatesMayBeDeallocated(void) {
  setUp();
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  CenterDelegate *early = [CenterDelegate new];
  [[UNUserNotificationCenter currentNotificationCenter] setDelegate:early];
  [early release];  // the center does not keep it
  Delegate *delegate = [Delegate new];
  [[UIApplication sharedApplication] setDelegate:delegate];
  [PLMessaging startService];
  [delegate release];  // the module keeps this one
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token");
  [[UIApplication sharedApplication] setDelegate:nil];
  [pool drain];
  deliverToken("b");
  deliverInForeground(1);
  CHECK_EQUAL(takeNotes(), @"");
  CHECK_EQUAL(seenToken(), @"a");
}

/// An object of the application in a payload.
@interface Article : NSObject
@end
@implementation Article
@end

static NSDictionary *payloadWith(id object) {
  return [NSDictionary dictionaryWithObjectsAndKeys:@"{\"pellionPnID\": 5}", @"addInfo", object, @"object",
                                                    [NSArray arrayWithObject:object], @"objects", nil];
}

static void payloadsMayHoldOtherObjects(void) {
  setUp();
  launch([Delegate new], [CenterDelegate new]);
  id objects[] = {
      [NSDate date], [NSURL URLWithString:@"https://shop.example/"], [[Article new] autorelease], [NSNull null]};
  for (size_t i = 0; i < sizeof objects / sizeof *objects; ++i) {
    UISystemDeliverInForeground(payloadWith(objects[i]));
    UISystemDeliverInBackground(payloadWith(objects[i]));
    UISystemDeliverResponse(payloadWith(objects[i]), UNNotificationDefaultActionIdentifier);
    CHECK_EQUAL(takeNotes(), @"present, background, response");
  }
  CHECK_EQUAL(seenNumber(), @"5");
}

static NSDictionary *nested(NSDictionary *innermost, int levels, int timesEach) {
  id object = innermost;
  for (int i = 0; i < levels; ++i) {
    NSMutableDictionary *outer = [NSMutableDictionary dictionary];
    for (int j = 0; j < timesEach; ++j) [outer setObject:object forKey:[NSString stringWithFormat:@"%d", j]];
    object = outer;
  }
  return object;
}

static void payloadsNeedNotBeTrees(void) {
  setUp();
  launch([Delegate new], [CenterDelegate new]);
  UISystemDeliverInForeground(nested(payload(1), 5000, 1));
  CHECK_EQUAL(seenNumber(), @"1");
  UISystemDeliverInForeground(nested(payload(2), 10, 2));
  CHECK_EQUAL(seenNumber(), @"2");
  NSString *tooOften = @"contain each other so often that they cannot be read";
  CHECK_CONTAINS(raisedBy(^{
                   UISystemDeliverInForeground(nested(payload(3), 60, 2));
                 }),
                 tooOften);
  NSMutableDictionary *itself = [NSMutableDictionary dictionary];
  NSArray *around = [NSArray arrayWithObject:itself];
  [itself setObject:[around lastObject] forKey:@"a"];
  [itself setObject:around forKey:@"b"];
  UISystemDeliverInForeground(itself);  // it is searched to its end
  CHECK_EQUAL(seenNumber(), @"2");
  [itself setObject:@"{\"pellionPnID\": 4}" forKey:@"addInfo"];
  UISystemDeliverInForeground(itself);
  CHECK_EQUAL(seenNumber(), @"4");
  UISystemDeliverResponse(itself, UNNotificationDefaultActionIdentifier);
  CHECK(countOfLines(@"a = \"(a container inside itself)\"") == 1);
}

static void otherObjectsInPlaceOfTextsAreRefused(void) {
  setUp();
  launch([Delegate new], [CenterDelegate new]);
  NSDictionary *wrong = [NSDictionary dictionaryWithObject:[[Article new] autorelease] forKey:@"addInfo"];
  CHECK_CONTAINS(
      raisedBy(^{
        UISystemDeliverInForeground(wrong);
      }),
      @"NSInvalidArgumentException -[Article dataUsingEncoding:]: unrecognized selector sent to instance 0x");
  [[PLNotificationHandler shared] handleNotificationResponse:tapOn(wrong)
                                           completionHandler:^{
                                             note(@"completed");
                                           }];
  CHECK_EQUAL(takeNotes(), @"completed");  // the handler checks every value
}

static void defineClass(const char *name) {
  setUp();
  objc_registerClassPair(objc_allocateClassPair([NSObject class], name, 0));
  [PLMessaging startService];  // at once, without a delegate or a callback
}
static void theApplicationHasAClassOfOurName(void) { defineClass("PLMessagingRemoteNotificationsProxy"); }
static void theApplicationHasATokenManager(void) { defineClass("PLTokenManager"); }
static void theApplicationHasAnInternalClass(void) { defineClass("PLXImplementationMap"); }

static void theSystemPassesNoFetchHandler(void) {
  setUp();
  launch([Delegate new], nil);
  UIApplication *application = [UIApplication sharedApplication];
  [[application delegate] application:application
         didReceiveRemoteNotification:payload(1)
               fetchCompletionHandler:(void (^)(UIBackgroundFetchResult))nil];
  [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:10]];
}

const struct framework_Case framework_badCases[] = {
    CASE(startsWithoutADelegate),
    CASE(startsTwice),
    LOGS(startsOnAnotherThread,
         "PellionMessaging: \\+\\[PLMessaging startService\\] is called on a thread other than the main thread, but it "
         "works on objects that belong to the main thread; call it in -application:didFinishLaunchingWithOptions:"),
    LOGS(aURLThatFoundationRefusesIsNotOpened,
         "PellionMessaging: Foundation makes no URL of https://\\[v1.x\\]/, so it is not opened"),
    CASE(delegatesMayBeDeallocated),
    CASE(payloadsMayHoldOtherObjects),
    CASE(payloadsNeedNotBeTrees),
    CASE(otherObjectsInPlaceOfTextsAreRefused),
    ENDS(theApplicationHasAClassOfOurName,
         "PellionMessaging: the name of the class PLMessagingRemoteNotificationsProxy is already taken"),
    ENDS(theApplicationHasATokenManager, "PellionMessaging: the name of the class PLTokenManager is already taken"),
    ENDS(theApplicationHasAnInternalClass,
         "PellionMessaging: the name of the class PLXImplementationMap is already taken"),
    ENDS(theSystemPassesNoFetchHandler,
         "PellionMessaging: application:didReceiveRemoteNotification:fetchCompletionHandler: was called without a "
         "completion handler"),
    END_OF_CASES};

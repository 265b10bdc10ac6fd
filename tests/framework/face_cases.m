// The public classes, as an application sees them.
#import "tests/framework/application.h"

#include <objc/runtime.h>

static void theServiceHasOneInstanceAndItsProperties(void) {
  setUp();
  PLMessaging *messaging = [PLMessaging shared];
  CHECK(messaging == [PLMessaging shared]);
  CHECK(messaging.pnToken == nil && messaging.APNSToken == nil && messaging.pnID == nil);
  CHECK(messaging.conversionEvent == nil && [messaging.pellionPnID count] == 0);
  [messaging updateLogMsgIds:payload(12)];
  CHECK_EQUAL([messaging.pnID description], @"12");
  CHECK([messaging.pellionPnID containsObject:[NSNumber numberWithInt:12]]);
  CHECK_EQUAL([[messaging valueForKey:@"pnID"] description], @"12");
  NSData *token = [NSData dataWithBytes:"abc" length:3];
  messaging.APNSToken = token;
  messaging.APNSToken = [NSData dataWithBytes:"abc" length:3];  // an equal one is not stored
  CHECK(messaging.APNSToken == token && messaging.apnsToken == token);
  [messaging updateBadgeCount:3];
  CHECK([messaging getBadgeCount] == 3);
  CHECK(countOfLines(@"APNs Device Token : 616263") == 2);
  messaging.APNSToken = nil;
  CHECK(messaging.APNSToken == nil);
}

static void whatTheServiceKeepsCanBeSet(void) {
  setUp();
  PLMessaging *messaging = [PLMessaging shared];
  NSSet *identifiers = [NSSet setWithObjects:@"7", [NSNumber numberWithInt:8], nil];
  messaging.pnID = @"7";
  messaging.pellionPnID = identifiers;
  messaging.conversionEvent = @"shop_purchase";
  CHECK_EQUAL(seenNumber(), @"7");
  CHECK([messaging.pellionPnID isEqualToSet:identifiers]);
  [PLCoreLibrary announceEngagement:[NSDictionary dictionaryWithObjectsAndKeys:@"event", @"action", @"shop_purchase",
                                                                               @"name", nil]];
  CHECK_EQUAL(messaging.conversionEvent, @"");  // it was the goal
  messaging.conversionEvent = nil;
  messaging.pnID = nil;
  messaging.pellionPnID = [NSSet set];
  CHECK(messaging.conversionEvent == nil && messaging.pnID == nil && [messaging.pellionPnID count] == 0);
  CHECK_CONTAINS(raisedBy(^{
                   messaging.conversionEvent = (id)[NSNumber numberWithInt:1];
                 }),
                 @"NSInvalidArgumentException -[__NSCFNumber length]");
}

@protocol Internal
+ (id)sharedInstance;
+ (id)sharedApplication;
+ (NSDictionary *)interceptors;
+ (void)broadcastToInterceptorsUsingSelector:(SEL)selector callback:(void (^)(id interceptor))callback;
- (void)performMethodSwizzlingIfPossible;
- (void)observeUIApplication;
- (id)object;
@end

static void internalObjectsAnswerByTheirNames(void) {
  setUp();
  launch([Delegate new], nil);
  id proxy = [NSClassFromString(@"PLMessagingRemoteNotificationsProxy") sharedInstance];
  [proxy performMethodSwizzlingIfPossible];  // a second time does nothing
  [[NSClassFromString(@"PLXAppDelegateObserver") sharedInstance] observeUIApplication];
  id swizzler = [PLAppDelegateSwizzler class];
  CHECK([swizzler sharedApplication] == [UIApplication sharedApplication]);
  CHECK([[[[swizzler interceptors] allValues] lastObject] object] == proxy);
  SEL selector = @selector(application:didRegisterForRemoteNotificationsWithDeviceToken:);
  [swizzler broadcastToInterceptorsUsingSelector:selector
                                        callback:^(id interceptor) {
                                          note(interceptor == proxy ? @"proxy" : @"another");
                                        }];
  CHECK_EQUAL(takeNotes(), @"proxy");
}

static void theServiceLooksValuesUp(void) {
  setUp();
  PLMessaging *messaging = [PLMessaging shared];
  NSDictionary *parsed = [messaging parseBodyString:@"{\"a\": [{\"b\": {\"c\": 7}}]}"];
  CHECK_EQUAL([[messaging findValueForKey:@"c" inDictionary:parsed] description], @"7");
  CHECK([messaging findValueForKey:@"d" inDictionary:parsed] == nil);
  CHECK([messaging parseBodyString:@"no JSON"] == nil);
  NSString *nothing = nil;
  CHECK([messaging findValueForKey:nothing inDictionary:parsed] == nil);
  CHECK_CONTAINS(raisedBy(^{
                   [messaging findValueForKey:(id)[NSNumber numberWithInt:1] inDictionary:parsed];
                 }),
                 @"NSInvalidArgumentException -[__NSCFNumber isEqualToString:]");
  CHECK_CONTAINS(raisedBy(^{
                   [messaging parseBodyString:nothing];
                 }),
                 @"NSInvalidArgumentException -[PLMessaging parseBodyString:]: the text is nil");
  NSDictionary *button = [NSDictionary dictionaryWithObject:@"track" forKey:@"action"];
  NSArray *buttons = [NSArray arrayWithObject:button];
  CHECK_EQUAL([[messaging getActionButtonById:@"track" inArray:buttons] description], [button description]);
  CHECK([messaging getActionButtonById:@"other" inArray:buttons] == nil);
}

static void whatAPayloadRaisesReachesTheApplication(void) {
  setUp();
  NSDictionary *wrong = [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:1] forKey:@"addInfo"];
  CHECK_CONTAINS(raisedBy(^{
                   [[PLMessaging shared] updateLogMsgIds:wrong];
                 }),
                 @"NSInvalidArgumentException");
}

static void whatAReportRaisesReachesItsPoster(void) {
  setUp();
  [PLMessaging startService];
  NSNotificationCenter *center = [NSNotificationCenter defaultCenter];
  NSString *const refusal = @"NSInvalidArgumentException -[__NSCFString objectForKey:]";
  CHECK_CONTAINS(raisedBy(^{
                   [PLCoreLibrary announceEngagement:(id) @"no dictionary"];
                 }),
                 refusal);
  CHECK_CONTAINS(raisedBy(^{
                   [center postNotificationName:PLRateUsNotification object:@"no dictionary"];
                 }),
                 refusal);
  CHECK_CONTAINS(raisedBy(^{
                   [center postNotification:[NSNotification notificationWithName:PLRateUsNotification object:@"none"]];
                 }),
                 refusal);
  CHECK_EQUAL(raisedBy(^{
                [center postNotificationName:PLRateUsNotification object:nil];
              }),
              @"nothing");
}

static void instancesCannotBeMade(void) {
  static NSString *const names[] = {@"PLMessaging", @"PLNotificationHandler", @"PLAppDelegateSwizzler"};
  setUp();
  for (int isStarted = 0; isStarted < 2; ++isStarted) {
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
      id cls = NSClassFromString(names[i]);
      NSString *raised = raisedBy(^{
        [cls alloc];
      });
      NSString *start = [NSString stringWithFormat:@"NSInvalidArgumentException +[%@ alloc]: the application makes no "
                                                   @"instances of this class; use ",
                                                   names[i]];
      CHECK_CONTAINS(raised, start);
    }
    [PLMessaging startService];
  }
}

static void subclassesAreRefused(void) {
  setUp();
  Class subclass = objc_allocateClassPair([PLMessaging class], "ShopMessaging", 0);
  objc_registerClassPair(subclass);
  NSString *const refusal = @"PLMessaging cannot be subclassed; send the message to PLMessaging itself";
  CHECK_CONTAINS(raisedBy(^{
                   [(id)subclass shared];
                 }),
                 refusal);
  CHECK_CONTAINS(raisedBy(^{
                   [(id)subclass startService];
                 }),
                 refusal);
  CHECK_CONTAINS(raisedBy(^{
                   [[(id)subclass alloc] release];
                 }),
                 @"+[ShopMessaging alloc]");
}

static void theHandlerOpensTheClickActionAndCompletesOnce(void) {
  setUp();
  UISystemSetListener(^(NSString *what, id details) {
    note([NSString stringWithFormat:@"%@ %@", what, details]);
  });
  NSDictionary *info = [NSDictionary dictionaryWithObject:@"{\"clickAction\": \"https://shop.example/\"}"
                                                   forKey:@"addInfo"];
  UNNotificationResponse *response =
      [[[UNNotificationResponse alloc] initWithNotification:[UNNotification notificationWithUserInfo:info]
                                           actionIdentifier:UNNotificationDefaultActionIdentifier] autorelease];
  PLNotificationHandler *handler = [PLNotificationHandler shared];
  CHECK(handler == [PLNotificationHandler shared]);
  [handler handleNotificationResponse:response
                    completionHandler:^{
                      note(@"completed");
                    }];
  CHECK_EQUAL(takeNotes(), @"completed");
  [handler handleNotificationResponse:nil completionHandler:nil];
  runUntilNoted();
  CHECK_EQUAL(takeNotes(), @"opened URL https://shop.example/");
}

static void theHandlerShowsItsParts(void) {
  setUp();
  PLNotificationHandler *handler = [PLNotificationHandler shared];
  NSDictionary *info = [NSDictionary dictionaryWithObject:@"{\"clickAction\": \"https://a.b/\"}" forKey:@"addInfo"];
  UNNotificationResponse *response =
      [[[UNNotificationResponse alloc] initWithNotification:[UNNotification notificationWithUserInfo:info]
                                           actionIdentifier:UNNotificationDefaultActionIdentifier] autorelease];
  CHECK_EQUAL([handler resolvedClickActionFromResponse:response], @"https://a.b/");
  CHECK_EQUAL([[handler addInfoDictionaryFromUserInfo:info] objectForKey:@"clickAction"], @"https://a.b/");
  CHECK([handler resolvedClickActionFromResponse:nil] == nil && [handler addInfoDictionaryFromUserInfo:nil] == nil);
  CHECK([handler stringValue:response] == nil && [handler stringValue:nil] == nil);
  CHECK_EQUAL([handler stringValue:@"a"], @"a");
  UISystemSetListener(^(NSString *what, id details) {
    note([NSString stringWithFormat:@"%@ %@", what, details]);
  });
  [handler openClickAction:nil];
  [handler openClickAction:@"https://a.b/"];
  runUntilNoted();
  CHECK_EQUAL(takeNotes(), @"opened URL https://a.b/");
}

static void urlsAreOpenedAsThePayloadHasThem(void) {
  static NSString *const texts[][2] = {
      {@"https://a.b?x=1", @"https://a.b/?x=1"},      {@"https://a.b#f", @"https://a.b/#f"},
      {@"SHOP://Product/A:b", @"shop://Product/A:b"}, {@"shop:open?next=https://example.org?x=1", nil},
      {@"mailto:a@b.c?body=https://c?d", nil},        {@"//Host/A:b", nil},
      {@"https://a.b/?next=HTTPS://c?d", nil},
  };
  setUp();
  UISystemSetListener(^(NSString *what, id details) {
    if ([what hasSuffix:@" URL"]) note([details description]);  // opened, or refused by this system
  });
  for (size_t i = 0; i < sizeof texts / sizeof *texts; ++i) {
    NSDictionary *action = [NSDictionary dictionaryWithObject:texts[i][0] forKey:@"clickAction"];
    NSDictionary *info = [NSDictionary dictionaryWithObject:action forKey:@"addInfo"];
    UNNotificationResponse *response =
        [[[UNNotificationResponse alloc] initWithNotification:[UNNotification notificationWithUserInfo:info]
                                             actionIdentifier:UNNotificationDefaultActionIdentifier] autorelease];
    [[PLNotificationHandler shared] handleNotificationResponse:response completionHandler:nil];
    runUntilNoted();
    CHECK_EQUAL(takeNotes(), texts[i][1] != nil ? texts[i][1] : texts[i][0]);
  }
}

static void interceptorsAreRegisteredForAsLongAsTheyLive(void) {
  setUp();
  Delegate *delegate = [Delegate new];
  launch(delegate, nil);
  Delegate *interceptor = [Delegate new];
  NSString *identifier = [PLAppDelegateSwizzler registerAppDelegateInterceptor:interceptor];
  CHECK([identifier hasPrefix:@"PLX_0x"]);
  CHECK_EQUAL([PLAppDelegateSwizzler registerAppDelegateInterceptor:interceptor], identifier);
  CHECK([PLAppDelegateSwizzler registerAppDelegateInterceptor:nil] == nil);
  CHECK([PLAppDelegateSwizzler registerAppDelegateInterceptor:@"no interceptor"] == nil);
  CHECK([PLAppDelegateSwizzler isAppDelegateProxyEnabled]);
  deliverToken("a");
  CHECK_EQUAL(takeNotes(), @"token, token");
  [PLAppDelegateSwizzler unregisterAppDelegateInterceptorWithIdentifier:identifier];
  [PLAppDelegateSwizzler unregisterAppDelegateInterceptorWithIdentifier:nil];
  deliverToken("b");
  CHECK_EQUAL(takeNotes(), @"token");
  [PLAppDelegateSwizzler registerAppDelegateInterceptor:interceptor];
  [interceptor release];
  deliverToken("c");
  CHECK_EQUAL(takeNotes(), @"token");
  CHECK(countOfLines(@"cannot find interceptor with ID") == 1);
}

const struct framework_Case framework_faceCases[] = {
    {"theServiceHasOneInstanceAndItsProperties", theServiceHasOneInstanceAndItsProperties, NULL},
    {"whatTheServiceKeepsCanBeSet", whatTheServiceKeepsCanBeSet, NULL},
    {"internalObjectsAnswerByTheirNames", internalObjectsAnswerByTheirNames, NULL},
    {"theServiceLooksValuesUp", theServiceLooksValuesUp, NULL},
    {"whatAPayloadRaisesReachesTheApplication", whatAPayloadRaisesReachesTheApplication, NULL},
    {"whatAReportRaisesReachesItsPoster", whatAReportRaisesReachesItsPoster, NULL},
    {"instancesCannotBeMade", instancesCannotBeMade, NULL},
    {"subclassesAreRefused", subclassesAreRefused, NULL},
    {"theHandlerOpensTheClickActionAndCompletesOnce", theHandlerOpensTheClickActionAndCompletesOnce, NULL},
    {"theHandlerShowsItsParts", theHandlerShowsItsParts, NULL},
    {"urlsAreOpenedAsThePayloadHasThem", urlsAreOpenedAsThePayloadHasThem, NULL},
    {"interceptorsAreRegisteredForAsLongAsTheyLive", interceptorsAreRegisteredForAsLongAsTheyLive, NULL},
    {NULL, NULL, NULL}};

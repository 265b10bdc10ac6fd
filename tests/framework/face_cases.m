// The public classes, as an application sees them.
#import "tests/framework/application.h"

#include <objc/runtime.h>

static void theServiceHasOneInstanceAndItsProperties(void) {
  setUp();
  PLMessaging *messaging = [PLMessaging shared];
  for (int i = 0; i < 3; ++i) [messaging release];  // has no effect
  CHECK(messaging == [PLMessaging shared] && [messaging retainCount] == NSUIntegerMax);
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
  NSDictionary *info = [NSDictionary dictionaryWithObject:@"no network" forKey:NSLocalizedDescriptionKey];
  [messaging didFailToRegisterForRemoteNotificationsWithError:[NSError errorWithDomain:@"D" code:3 userInfo:info]];
  CHECK(countOfLines(@"no network") == 1);
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
  static NSString *const rows[][3] = {{@"PLMessaging", @"alloc", @"use +[PLMessaging shared]"},
                                      {@"PLMessaging", @"new", @"use +[PLMessaging shared]"},
                                      {@"PLNotificationHandler", @"alloc", @"use +[PLNotificationHandler shared]"},
                                      {@"PLNotificationHandler", @"new", @"use +[PLNotificationHandler shared]"},
                                      {@"PLAppDelegateSwizzler", @"alloc", @"use its class methods"},
                                      {@"PLAppDelegateSwizzler", @"new", @"use its class methods"}};
  setUp();
  for (int isStarted = 0; isStarted < 2; ++isStarted) {
    for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i) {
      NSString *raised = raisedBy(^{
        [NSClassFromString(rows[i][0]) performSelector:NSSelectorFromString(rows[i][1])];
      });
      NSString *wanted = [NSString stringWithFormat:@"NSInvalidArgumentException +[%@ %@]: the application makes no "
                                                    @"instances of this class; %@",
                                                    rows[i][0], rows[i][1], rows[i][2]];
      CHECK_EQUAL(raised, wanted);
    }
    [PLMessaging startService];
  }
}

static void subclassesAreRefused(void) {
  static NSString *const rows[][2] = {{@"PLMessaging", @"shared"},
                                      {@"PLMessaging", @"startService"},
                                      {@"PLNotificationHandler", @"shared"},
                                      {@"PLAppDelegateSwizzler", @"registerAppDelegateInterceptor:"},
                                      {@"PLAppDelegateSwizzler", @"unregisterAppDelegateInterceptorWithIdentifier:"}};
  setUp();
  for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i) {
    NSString *name = [rows[i][0] stringByAppendingFormat:@"%zuSubclass", i];
    Class subclass = objc_allocateClassPair(NSClassFromString(rows[i][0]), [name UTF8String], 0);
    objc_registerClassPair(subclass);
    NSString *raised = raisedBy(^{
      [subclass performSelector:NSSelectorFromString(rows[i][1]) withObject:nil];
    });
    CHECK_EQUAL(raised, ([NSString stringWithFormat:@"NSInvalidArgumentException +[%@ %@]: %@ cannot be subclassed; "
                                                    @"send the message to %@ itself",
                                                    name, rows[i][1], rows[i][0], rows[i][0]]));
    CHECK_CONTAINS(raisedBy(^{
                     [subclass performSelector:@selector(alloc)];
                   }),
                   ([NSString stringWithFormat:@"+[%@ alloc]", name]));
  }
}

static NSDictionary *clickAction(NSString *text) {
  NSString *info = [NSString stringWithFormat:@"{\"clickAction\": \"%@\"}", text];
  return [NSDictionary dictionaryWithObject:info forKey:@"addInfo"];
}

static void theHandlerOpensTheClickActionAndCompletesOnce(void) {
  static NSString *const rows[][2] = {{@"https://shop.example/", @"https://shop.example/"},
                                      {@"HTTPS://shop.example/A", @"https://shop.example/A"},
                                      {@"https://shop.example?x=1", @"https://shop.example/?x=1"}};
  setUp();
  UISystemSetListener(^(NSString *what, id details) {
    note([NSString stringWithFormat:@"%@ %@", what, [details objectForKey:@"url"]]);
  });
  PLNotificationHandler *handler = [PLNotificationHandler shared];
  [handler release];
  CHECK(handler == [PLNotificationHandler shared] && [handler retainCount] == NSUIntegerMax);
  for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i) {
    [handler handleNotificationResponse:tapOn(clickAction(rows[i][0]))
                      completionHandler:^{
                        note(@"completed");
                      }];
    CHECK_EQUAL(takeNotes(), @"completed");
    [handler handleNotificationResponse:nil completionHandler:nil];
    runUntilNoted();
    CHECK_EQUAL(takeNotes(), ([@"opened URL " stringByAppendingString:rows[i][1]]));
  }
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
    note([NSString stringWithFormat:@"%@ %@", what, [details objectForKey:@"url"]]);
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
    if ([what hasSuffix:@" URL"]) note([details objectForKey:@"url"]);  // opened, or refused by this system
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

/// A platform of this release, as the application's Info.plist names it.
static NSString *release;
static NSDictionary *infoOfRelease(id self, SEL selector) {
  (void)self, (void)selector;
  return [NSDictionary dictionaryWithObject:release forKey:@"DTPlatformVersion"];
}
static NSString *openedLinkedWith(NSString *number) {
  setUp();
  release = number;
  method_setImplementation(class_getInstanceMethod([NSBundle class], @selector(infoDictionary)), (IMP)infoOfRelease);
  UISystemSetListener(^(NSString *what, id details) {
    note([NSString stringWithFormat:@"%@ %@", what, [details objectForKey:@"url"]]);
  });
  [[PLNotificationHandler shared] handleNotificationResponse:tapOn(clickAction(@"https://shop.example/a b"))
                                           completionHandler:nil];
  runQueue();
  return takeNotes();
}
static void oddURLsAreEncodedForRelease17(void) {
  CHECK_EQUAL(openedLinkedWith(@"17.0"), @"opened URL https://shop.example/a%20b");
}
static void oddURLsAreNotEncodedForRelease16(void) { CHECK_EQUAL(openedLinkedWith(@"16.4"), @""); }

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
    CASE(theServiceHasOneInstanceAndItsProperties),
    CASE(whatTheServiceKeepsCanBeSet),
    CASE(internalObjectsAnswerByTheirNames),
    CASE(theServiceLooksValuesUp),
    CASE(whatAPayloadRaisesReachesTheApplication),
    CASE(whatAReportRaisesReachesItsPoster),
    CASE(instancesCannotBeMade),
    CASE(subclassesAreRefused),
    CASE(theHandlerOpensTheClickActionAndCompletesOnce),
    CASE(theHandlerShowsItsParts),
    CASE(urlsAreOpenedAsThePayloadHasThem),
    CASE(oddURLsAreEncodedForRelease17),
    LOGS(oddURLsAreNotEncodedForRelease16, "PellionMessaging: no URL can be made of https://shop.example/a b"),
    CASE(interceptorsAreRegisteredForAsLongAsTheyLive),
    END_OF_CASES};

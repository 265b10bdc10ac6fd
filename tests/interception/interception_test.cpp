// The service as it is started: what the delegates' classes, the badge setters and other kits make of it.

#include <gmock/gmock.h>

#include "host/objc_runtime.h"
#include "host/system_events.h"
#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "interception/badge_hooks.h"
#include "interception/platform_access.h"
#include "platform/key_value_observing.h"
#include "tests/messaging/messaging_phone.h"
#include "tests/support/test_application.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

using Proxy = PLMessagingRemoteNotificationsProxy;

const Value ours = payload(R"({"pellionPnID": 7, "conversion": {"group": "g", "event": "e"}})");
const Value foreign = json(R"({"aps": {"alert": "Somebody else's"}})");

class Interception : public Test {
 protected:
  void present(const Value& userInfo = ours) { host::deliverInForeground(userInfo); }
  void tap(const Value& userInfo = ours) {
    host::deliverResponse(userInfo, platform::UNNotificationDefaultActionIdentifier);
  }
  std::vector<std::int64_t> takeStatuses() {
    std::vector<std::int64_t> statuses;
    for (const Value& entry : phone_.takeEntries()) statuses.push_back(entry.find("status")->integer());
    return statuses;
  }
  static Proxy& proxy() { return Proxy::sharedInstance(); }

  MessagingPhone phone_{std::vector<Value::Entry>{{"LOG_LEVEL", "verbose"}}};
  host::ProcessScope scope_{*phone_->process()};
};

TEST_F(Interception, StartsOnceAndTriesNothingAgain) {
  host::Runtime::current().hideClass("UNUserNotificationCenter");
  host::startApplication(makeInstance(appDelegateClass("ShopDelegate")));
  PLMessaging::startService();
  EXPECT_EQ(proxy().appDelegateMonitoringID(), platform::format("PLX_%p", {platform::objectOf(proxy())}));
  addMethod(
      object_getClass(platform::classObject(makeClass("UNUserNotificationCenter"))), "currentNotificationCenter",
      +[](id self, SEL) { return objc_autorelease(class_createInstance(reinterpret_cast<Class>(self), 0)); });
  PLMessaging::startService();
  EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges());
  EXPECT_TRUE(proxy().didSwizzleMethods());
  const Value token = Value::bytes("\x0a");
  host::deliverDeviceToken(&token);
  EXPECT_THAT(phone_.takeLog(), Contains(HasSubstr("APNs Device Token")).Times(1));
  proxy().unswizzleAllMethods();
  host::deliverDeviceToken(&token);
  EXPECT_THAT(phone_.takeLog(), IsEmpty()) << "no interceptor any more";
}

TEST_F(Interception, MakesTheFacadeListenFromTheStart) {
  phone_.run([] {
    platform::UserDefaults::initWithSuiteName("group.test")
        ->setObject(Value::list({json(R"({"status": 4})")}), "pellionDidReceivePushNotification");
    PLMessaging::startService();
    host::becomeActive();
  });
  phone_.run([&] { phone_->process()->mainQueue().advance(std::chrono::seconds(3)); });
  EXPECT_THAT(takeStatuses(), ElementsAre(4));
}

TEST_F(Interception, FollowsTheCentersDelegateThroughEveryChange) {
  const Class first = centerDelegateClass<'A'>("First");
  const Class second = centerDelegateClass<'B'>("Second");
  const Class undeclared = makeClass("Undeclared");
  addMethod(undeclared, willPresent, notePresent<'U'>);
  const Strong a = makeInstance(first);
  const Strong twin = makeInstance(first);
  const Strong b = makeInstance(second);
  const Strong u = makeInstance(undeclared);
  const IMP own = class_getMethodImplementation(first, sel(willPresent));
  setCenterDelegate(a.get());
  PLMessaging::startService();
  const struct {
    id delegate;
    id intercepted;
    std::vector<std::string> calls;
    std::size_t entries;
  } changes[] = {
      {a.get(), a.get(), {"A present after 7", "A response after g_e"}, 2},
      {b.get(), b.get(), {"B present after 7", "B response after g_e"}, 2},
      {nullptr, nullptr, {}, 0},
      {twin.get(), twin.get(), {"A present after 7", "A response after g_e"}, 2},
      {a.get(), a.get(), {"A present after 7", "A response after g_e"}, 2},
      {u.get(), nullptr, {"U present after 7"}, 0},
  };
  for (const auto& [delegate, intercepted, calls, entries] : changes) {
    SCOPED_TRACE(&calls - &changes[0].calls);
    setCenterDelegate(delegate);
    EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), intercepted);
    EXPECT_EQ(proxy().isUserNotificationDelegateSwizzled(), intercepted != nullptr);
    present();
    tap();
    EXPECT_EQ(takeCalls(), calls);
    EXPECT_THAT(phone_.takeEntries(), SizeIs(entries));
  }
  EXPECT_EQ(class_getMethodImplementation(first, sel(willPresent)), own) << "put back";
}

TEST_F(Interception, RecordsBeforeTheDelegateHearsAndLeavesItsHandlerAlone) {
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  PLMessaging::startService();
  setCenterDelegate(delegate.get());
  for (const Value& userInfo : {foreign, ours}) {
    present(userInfo);
    tap(userInfo);
  }
  EXPECT_THAT(takeStatuses(), ElementsAre(4, 5));
  EXPECT_THAT(takeCalls(), ElementsAre("A present after (null)", "A response after (null)", "A present after 7",
                                       "A response after g_e"));
  const std::vector<Value> presented = phone_.take("presents");
  ASSERT_THAT(presented, SizeIs(2));
  EXPECT_EQ(*presented[0].find("options"), Value(16)) << "a banner";
}

TEST_F(Interception, PassesStraightThroughWhatIsNotTheCentersOwn) {
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  setCenterDelegate(delegate.get());
  PLMessaging::startService();
  const id center = host::currentNotificationCenter();
  const Strong notification = host::makeNotification(ours);
  const Strong response = host::makeNotificationResponse(ours, "tap");
  const platform::Block<void(platform::UNNotificationPresentationOptions)> show([](auto) {});
  const platform::Block<void()> done([] {});
  const auto willPresentWith = [&](id from, id event, host::PresentationHandler handler) {
    platform::send<void(id, id, host::PresentationHandler)>(delegate.get(), sel(willPresent), from, event, handler);
  };
  const auto didRespondWith = [&](id from, id event, ResponseHandler handler) {
    platform::send<void(id, id, ResponseHandler)>(delegate.get(), sel(didRespond), from, event, handler);
  };
  willPresentWith(nullptr, notification.get(), show.get());
  willPresentWith(delegate.get(), notification.get(), show.get());
  willPresentWith(center, nullptr, show.get());
  willPresentWith(center, response.get(), show.get());
  willPresentWith(center, notification.get(), nullptr);
  didRespondWith(nullptr, response.get(), done.get());
  didRespondWith(center, notification.get(), done.get());
  didRespondWith(center, response.get(), nullptr);
  EXPECT_THAT(takeCalls(), SizeIs(8)) << "once each";
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
}

/// Stands in for a notification's content; what it says is no dictionary.
id noDictionary(id, SEL) { return platform::boxed(Value("no dictionary")); }

TEST_F(Interception, ReadsAPayloadThatIsADictionaryAlone) {
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  setCenterDelegate(delegate.get());
  PLMessaging::startService();
  const Class content = objc_getClass("UNNotificationContent");
  const IMP userInfo = method_setImplementation(class_getInstanceMethod(content, sel("userInfo")),
                                                platform::implementationOf(noDictionary));
  tap();
  present();
  method_setImplementation(class_getInstanceMethod(content, sel("userInfo")), userInfo);
  method_setImplementation(class_getInstanceMethod(objc_getClass("UNNotificationResponse"), sel("notification")),
                           platform::implementationOf(noDictionary));
  tap();
  EXPECT_THAT(takeCalls(), SizeIs(3)) << "the delegate hears all the same";
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
}

TEST_F(Interception, KeptTheSecondRunOfTheContinuationWhenAClassIsMissing) {
  const struct {
    const char* missing;
    std::vector<std::string> calls;
  } cases[] = {
      {"UNNotification", {"A present", "A present", "A response"}},
      {"UNNotificationRequest", {"A present", "A response"}},
      {"UNNotificationContent", {"A present", "A response"}},
  };
  for (const auto& [missing, calls] : cases) {
    SCOPED_TRACE(missing);
    phone_->launch();
    const host::ProcessScope scope(*phone_->process());
    const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
    setCenterDelegate(delegate.get());
    PLMessaging::startService();
    host::Runtime::current().hideClass(missing);
    present();
    tap();
    std::vector<std::string> names;
    for (const std::string& call : takeCalls()) names.push_back(call.substr(0, call.find(" after")));
    EXPECT_EQ(names, calls);
    EXPECT_THAT(phone_.takeEntries(), IsEmpty()) << "and nothing is recorded";
  }
}

TEST_F(Interception, NeedsNoNotificationCenter) {
  host::Runtime::current().hideClass("UNUserNotificationCenter");
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  setCenterDelegate(delegate.get());
  PLMessaging::startService();
  EXPECT_TRUE(proxy().didSwizzleMethods());
  EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges());
  EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), nullptr);
}

TEST_F(Interception, ReplacesOnlyWhatTheDelegateAnswers) {
  const Class cls = declaringClass("Responder", "UNUserNotificationCenterDelegate");
  addMethod(cls, didRespond, noteResponse<'R'>);
  const Class deaf = declaringClass("Deaf", "UNUserNotificationCenterDelegate");
  const Strong delegate = makeInstance(cls);
  const Strong deafDelegate = makeInstance(deaf);
  PLMessaging::startService();
  setCenterDelegate(delegate.get());
  EXPECT_EQ(class_getInstanceMethod(cls, sel(willPresent)), nullptr);
  setCenterDelegate(deafDelegate.get());
  EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), deafDelegate.get()) << "though nothing was replaced";
  EXPECT_EQ(class_getMethodImplementation(cls, sel(didRespond)), platform::implementationOf(&noteResponse<'R'>));
}

bool deniesWillPresent(id self, SEL, SEL selector) {
  return selector != sel(willPresent) && class_respondsToSelector(object_getClass(self), selector);
}

TEST_F(Interception, KeptRestoresASelectorThatWasNotReplaced) {
  const Class cls = centerDelegateClass<'A'>("Denying");
  addMethod(cls, "respondsToSelector:", deniesWillPresent);
  const Strong delegate = makeInstance(cls);
  setCenterDelegate(delegate.get());
  PLMessaging::startService();
  setCenterDelegate(nullptr);
  EXPECT_THAT(raised([&] {
                platform::send<void(id, id, host::PresentationHandler)>(delegate.get(), sel(willPresent), nullptr,
                                                                        nullptr, nullptr);
              }),
              HasSubstr("unrecognized selector"));
}

TEST_F(Interception, UndoesItselfWhereItIsDeallocatedAndLogsWhatItCannotUndo) {
  const Class cls = centerDelegateClass<'A'>("Inbox");
  const Strong delegate = makeInstance(cls);
  setCenterDelegate(delegate.get());
  const id center = host::currentNotificationCenter();
  {
    const platform::AutoreleasePool pool;
    const Strong other = platform::makeObject<Proxy>();
    platform::objectState<Proxy>(other.get()).performMethodSwizzlingIfPossible();
    EXPECT_THAT(host::sideData(center).observations, SizeIs(1));
    platform::removeObserver(center, other.get(), "delegate");
    platform::objectState<Proxy>(other.get()).detachUserNotificationCenterDelegateObserver();
    EXPECT_TRUE(platform::objectState<Proxy>(other.get()).isListeningForUserNotificationDelegateChanges());
    platform::objectState<Proxy>(other.get()).attachDelegateObserverToUserNotificationCenter(center);
    EXPECT_THAT(host::sideData(center).observations, SizeIs(1));
    EXPECT_EQ(raised([&] {
                platform::send<void(id, id, id, void*)>(other.get(),
                                                        sel("observeValueForKeyPath:ofObject:change:context:"),
                                                        platform::boxed(Value("delegate")), center, nullptr, nullptr);
              }).substr(0, 32),
              "NSInternalInconsistencyException")
        << "somebody else's context is the superclass's business";
  }
  EXPECT_THAT(host::sideData(center).observations, IsEmpty());
  EXPECT_EQ(class_getMethodImplementation(cls, sel(didRespond)), platform::implementationOf(&noteResponse<'A'>));
  EXPECT_NE(class_getMethodImplementation(cls, sel(willPresent)), platform::implementationOf(&notePresent<'A'>))
      << "not recorded, so not restored";
  EXPECT_THAT(phone_.takeLog(), Contains(HasSubstr("to remove a KVO observer")).Times(2));
}

/// What the shared store's badge was when the platform's setter ran.
void notePlatformBadge(id, SEL, std::int64_t number) {
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), number);
  note('P', "badge");
}

TEST_F(Interception, RecordsABadgeBeforeThePlatformSetsItHoweverOftenItHooks) {
  const Class application = objc_getClass("UIApplication");
  class_replaceMethod(application, sel("setApplicationIconBadgeNumber:"),
                      platform::implementationOf(&notePlatformBadge), "v@:q");
  PLMessaging::startService();
  for (const std::int64_t number : {3, 0, -1}) {
    platform::send<void(std::int64_t)>(host::UIApplication::sharedApplication(), sel("setApplicationIconBadgeNumber:"),
                                       number);
    EXPECT_THAT(takeCalls(), ElementsAre("P badge"));
    EXPECT_TRUE(injectSelector(application, sel("setApplicationIconBadgeNumber:"), platform::classOf<Proxy>(),
                               sel("pellionSetApplicationIconBadgeNumber:")));
  }
  bool isDone = false;
  phone_.run([&] {
    const platform::Block<void(id)> handler([&](id) { isDone = true; });
    platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
        host::currentNotificationCenter(), sel("setBadgeCount:withCompletionHandler:"), 5, handler.get());
    EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 5);
  });
  EXPECT_TRUE(isDone);
}

void noteDonor(id, SEL, id, id, ResponseHandler) { note('D', "response"); }

TEST_F(Interception, KeptTheDonorThatNobodyInstalls) {
  constexpr const char* donor = "pellionUserNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";
  PLMessaging::startService();
  const Method method = class_getInstanceMethod(objc_getClass("PLUserNotificationCenterDelegate"), sel(donor));
  const Class cls = makeClass("Inbox");
  addMethod(cls, donor, noteDonor);
  const auto code = reinterpret_cast<void (*)(id, SEL, id, id, ResponseHandler)>(method_getImplementation(method));
  code(makeInstance(cls).get(), sel("anything"), nullptr, nullptr, nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("D response"));
}

TEST_F(Interception, KeptTheDonorWithoutCounterpartWhenThePlatformLacksTheSetter) {
  const Class cls = makeClass("OldCenter");
  EXPECT_FALSE(injectSelector(cls, sel("setBadgeCount:withCompletionHandler:"),
                              platform::classOf<PLUserNotificationCenter>(),
                              sel("pellionSetBadgeCount:withCompletionHandler:")));
  EXPECT_THAT(raised([&] {
                platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
                    makeInstance(cls).get(), sel("setBadgeCount:withCompletionHandler:"), 4, nullptr);
              }),
              HasSubstr("-[OldCenter pellionSetBadgeCount:withCompletionHandler:]: unrecognized selector"));
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 4) << "recorded all the same";
}

TEST_F(Interception, HandsOnWhatTheApplicationsDelegateHears) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  host::startApplication(delegate);
  PLMessaging::startService();
  phone_.takeLog();
  host::failToRegisterForRemoteNotifications({"D", 3, "no network", {}});
  EXPECT_THAT(
      phone_.takeLog(),
      ElementsAre(
          "Error in application:didFailToRegisterForRemoteNotificationsWithError: no network",
          HasSubstr("Push notification didFailToRegisterForRemoteNotificationsWithError: Error Domain=D Code=3")));
  for (const host::LogLevel level : {host::LogLevel::none, host::LogLevel::verbose}) {
    phone_->process()->setLogLevel(level);
    EXPECT_THAT(raised([&] { platform::send<void(id, id)>(delegate.get(), sel(didFail), nullptr, delegate.get()); }),
                HasSubstr("localizedDescription]: unrecognized selector"));
  }
  for (const Value& userInfo : {ours, foreign}) phone_.run([&] { host::deliverInBackground(userInfo); });
  EXPECT_THAT(takeStatuses(), ElementsAre(4));
  EXPECT_NE(raised([] {
              host::deliverInBackground(Value::dictionary({{"addInfo", Value::dictionary({})}}));
            }),
            "nothing");
  const std::vector<Value> fetched = phone_.take("fetched");
  EXPECT_THAT(fetched, SizeIs(2)) << "answered once recorded, so not where that raises";
  for (const Value& each : fetched) EXPECT_EQ(*each.find("result"), Value(1));
}

TEST(InterceptionsEnd, IsTheProcessesWithoutAnyTeardown) {
  MessagingPhone phone;
  phone.run([] {
    host::startApplication(makeInstance(appDelegateClass("ShopDelegate")));
    PLMessaging::startService();
  });
  phone.takeLog();
  phone->terminate();
  EXPECT_THAT(phone.takeLog(), IsEmpty());
}

}  // namespace

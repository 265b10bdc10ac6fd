// The service from its start to its end: when it intercepts, what the runtime then knows, what other kits receive.

#include <gmock/gmock.h>

#include <sstream>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/PLXAppDelegateObserver.h"
#include "appdelegate/PLXSafeWeakContainer.h"
#include "appdelegate/proxied_app_delegate.h"
#include "interception/badge_hooks.h"
#include "network/PLTokenManager.h"
#include "platform/key_value_observing.h"
#include "tests/interception/interception_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

const Value foreign = json(R"({"aps": {"alert": "Of another provider"}})");

id noName(id, SEL) { return nullptr; }
void ignoreName(id, SEL, id) {}
void noteName(id, SEL, id, id, id, void*) { note('N', "name"); }

// Key-value observing makes an object an instance of a subclass that `class` hides.
TEST_F(Interception, InterceptsDelegatesThatAreObservedBeforeOrAfterTheStart) {
  const Class observing = makeClass("NameObserver");
  addMethod<&noteName>(observing, platform::observeValueForKeyPathSelector);
  const Strong observer = makeInstance(observing);
  const Class delegateClass = appDelegateClass("ShopDelegate");
  const Class centerClass = centerDelegateClass<'A'>("CenterDelegate");
  const Strong delegate = makeInstance(delegateClass);
  const Strong first = makeInstance(centerClass);
  const Strong second = makeInstance(makeClass("Second", centerClass));
  for (const Class cls : {delegateClass, centerClass}) {
    addMethod(cls, "name", noName);
    addMethod(cls, "setName:", ignoreName);
  }
  const auto observe = [&](const Strong& object) {
    platform::addObserver(object.get(), observer.get(), "name", 0, nullptr);
  };
  const auto rename = [&](const Strong& object) {
    platform::send<void(id)>(object.get(), sel("setName:"), nullptr);
    return takeCalls();
  };
  observe(delegate);
  observe(first);
  setCenterDelegate(first.get());
  startApplication(delegate);
  PLMessaging::startService();
  EXPECT_THAT(rename(delegate), IsEmpty()) << "its observing has ended";
  EXPECT_THAT(rename(first), ElementsAre("N name"));
  present();
  EXPECT_THAT(takeCalls(), ElementsAre("A present after 7"));
  setCenterDelegate(second.get());
  observe(delegate);
  observe(second);
  EXPECT_THAT(rename(second), ElementsAre("N name"));
  present();
  EXPECT_THAT(takeCalls(), ElementsAre("A present after 7"));
  const Value token = Value::bytes("\x0a");
  deliverDeviceToken(&token);
  EXPECT_EQ(PLMessaging::shared().APNSToken(), token);
}

// What other code may look up, and what a debugger shows: a class, its superclass and methods that others send to it.
TEST_F(Interception, IsKnownToTheRuntimeByTheseNames) {
  const std::pair<Class, std::string> classes[] = {
      {platform::classOf<PLTokenManager>(), "PLTokenManager NSObject personalInfoTrackingStatusUpdated:"},
      {platform::classOf<PLMessaging>(),
       "PLMessaging NSObject globalEngagementDataNotification: applicationDidBecomeActive:"},
      {platform::classOf<PLAppDelegateSwizzler>(),
       "PLAppDelegateSwizzler NSProxy application:donor_didRegisterForRemoteNotificationsWithDeviceToken: "
       "application:donor_didFailToRegisterForRemoteNotificationsWithError: "
       "application:donor_didReceiveRemoteNotification:fetchCompletionHandler:"},
      {platform::classOf<PLXAppDelegateObserver>(), "PLXAppDelegateObserver NSObject"},
      {platform::classOf<PLXSafeWeakContainer>(), "PLXSafeWeakContainer NSObject object setObject:"},
      {platform::classOf<Proxy>(),
       "PLMessagingRemoteNotificationsProxy NSObject pellionSetApplicationIconBadgeNumber: " +
           (std::string(didRegister) + ' ' + didFail + ' ' + didReceive)},
      {platform::classOf<PLUserNotificationCenter>(),
       "PLUserNotificationCenter NSObject pellionSetBadgeCount:withCompletionHandler:"},
      {platform::classOf<PLUserNotificationCenterDelegate>(),
       "PLUserNotificationCenterDelegate NSObject "
       "pellionUserNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:"},
  };
  for (const auto& [cls, names] : classes) {
    std::istringstream words(names);
    std::string name;
    EXPECT_EQ(objc_getClass((words >> name, name.c_str())), cls) << name;
    EXPECT_EQ(class_getName(class_getSuperclass(cls)), (words >> name, name));
    while (words >> name) EXPECT_NE(class_getInstanceMethod(cls, sel(name.c_str())), nullptr) << name;
  }
  EXPECT_STREQ(kPLXOrigIMPBySelectorKey, "PLX_origIMPBySelector");
  EXPECT_STREQ(kPLXOrigClassKey, "PLX_origClass");
  const id proxyClass = platform::classObject(platform::classOf<Proxy>());
  EXPECT_TRUE(platform::send<bool()>(proxyClass, sel("canPerformMethodSwizzling")));
  platform::send<void()>(proxyClass, sel("load"));
  EXPECT_FALSE(proxy().didSwizzleMethods()) << "nothing starts without a call";
}

TEST_F(Interception, PassesOnTheCallbacksOfTheApplicationsDelegate) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  startApplication(delegate);
  PLMessaging::startService();
  phone_.takeLines();
  failToRegisterForRemoteNotifications({"D", 3, "no network", {}});
  const std::string failing = "application:didFailToRegisterForRemoteNotificationsWithError:";
  EXPECT_THAT(
      phone_.takeLines(),
      ElementsAre(
          "pellion-warning -[PLMessagingRemoteNotificationsProxy " + failing + "]: Error in " + failing + " no network",
          HasSubstr("didFailToRegisterForRemoteNotificationsWithError: Error Domain=D Code=3 \"no network\"")));
  EXPECT_THAT(raised([&] { platform::send<void(id, id)>(delegate.get(), sel(didFail), nullptr, delegate.get()); }),
              HasSubstr("localizedDescription]: unrecognized selector"));
  for (const Value& userInfo : {ours, foreign}) phone_.run([&] { deliverInBackground(userInfo); });
  EXPECT_THAT(takeStatuses(), ElementsAre(4));
  EXPECT_THAT(phone_.take("fetched"), SizeIs(2));
  std::vector<std::pair<platform::UIBackgroundFetchResult, std::vector<std::int64_t>>> answers;
  const platform::Block<void(platform::UIBackgroundFetchResult)> handler(
      [&](auto result) { answers.emplace_back(result, takeStatuses()); });
  const auto receive = [&](const Value& userInfo) {
    platform::send<void(id, id, FetchHandler)>(platform::objectOf(proxy()), sel(didReceive), nullptr,
                                               platform::boxed(userInfo), handler.get());
  };
  receive(ours);
  EXPECT_NE(raised([&] { receive(json(R"({"addInfo": {}})")); }), "nothing");
  EXPECT_THAT(answers, ElementsAre(Pair(platform::UIBackgroundFetchResultNoData, ElementsAre(4))))
      << "completed after recording, so not if recording raises";
}

TEST_F(Interception, RestoresTheMethodsWhenItIsDeallocated) {
  const Class cls = centerDelegateClass<'A'>("Inbox");
  const Strong delegate = makeInstance(cls);
  setCenterDelegate(delegate.get());
  const id center = currentNotificationCenter();
  {
    const platform::AutoreleasePool pool;
    const Strong other = platform::makeObject<Proxy>();
    platform::objectState<Proxy>(other.get()).performMethodSwizzlingIfPossible();
    EXPECT_NE(raised([&] {
                platform::send<void(id, id, id, void*)>(other.get(),
                                                        sel("observeValueForKeyPath:ofObject:change:context:"),
                                                        platform::boxed(Value("delegate")), center, nullptr, nullptr);
              }),
              "nothing")
        << "the superclass handles a context of another observer";
  }
  const Strong next = makeInstance(centerDelegateClass<'B'>("Next"));
  setCenterDelegate(next.get());
  EXPECT_EQ(class_getMethodImplementation(object_getClass(next.get()), sel(didRespond)),
            platform::implementationOf<&noteResponse<'B'>>())
      << "it observes no longer";
  EXPECT_EQ(class_getMethodImplementation(cls, sel(didRespond)), platform::implementationOf<&noteResponse<'A'>>());
  EXPECT_NE(class_getMethodImplementation(cls, sel(willPresent)), platform::implementationOf<&notePresent<'A'>>())
      << "not recorded, so not restored";
}

}  // namespace

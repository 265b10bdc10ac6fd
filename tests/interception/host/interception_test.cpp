// What only the simulated phone shows: classes that are hidden, relaunches, observers counted, lines that no code
// reads.

#include "host/objc/objc_runtime.h"
#include "host/phone/system_events.h"
#include "platform/key_value_observing.h"
#include "tests/interception/interception_fixture.h"
#include "tests/messaging/messaging_phone.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

using InterceptionOfTheHost = Interception;

TEST_F(InterceptionOfTheHost, StartsOnceAndDoesNotRetry) {
  host::Runtime::current().hideClass("UNUserNotificationCenter");
  const Class center = makeClass("UNUserNotificationCenter");
  startApplication(makeInstance(appDelegateClass("ShopDelegate")));
  EXPECT_FALSE(proxy().isUserNotificationDelegateSwizzled());
  PLMessaging::startService();
  EXPECT_EQ(proxy().appDelegateMonitoringID(), platform::format("PLX_%p", {platform::objectOf(proxy())}));
  addMethod(
      object_getClass(platform::classObject(center)), "currentNotificationCenter",
      +[](id self, SEL) { return objc_autorelease(class_createInstance(reinterpret_cast<Class>(self), 0)); });
  PLMessaging::startService();
  EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges()) << "as there was no current center";
  EXPECT_TRUE(proxy().didSwizzleMethods());
  const Value token = Value::bytes("\x0a");
  deliverDeviceToken(&token);
  EXPECT_THAT(phone_.takeLog(), Contains(HasSubstr("APNs Device Token")).Times(1));
  proxy().unswizzleAllMethods();
  deliverDeviceToken(&token);
  EXPECT_THAT(phone_.takeLog(), IsEmpty()) << "no interceptor any more";
}

// What other code may look up, and what a debugger shows: a class, its superclass and methods that others send to it.

TEST_F(InterceptionOfTheHost, RaisesForAnErrorThatIsNoneAlsoWhenNoLineIsRead) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  startApplication(delegate);
  PLMessaging::startService();
  host::Process::current().setLogLevel(host::LogLevel::none);
  EXPECT_THAT(raised([&] { platform::send<void(id, id)>(delegate.get(), sel(didFail), nullptr, delegate.get()); }),
              HasSubstr("localizedDescription]: unrecognized selector"));
}

struct MissingClass {
  const char* name;
  std::vector<std::string> calls;
  std::vector<std::int64_t> statuses;
};
void PrintTo(const MissingClass& row, std::ostream* out) { *out << row.name; }
class KeptAMissingClass : public Interception, public WithParamInterface<MissingClass> {};

TEST_P(KeptAMissingClass, CallsTheDelegateTwiceOrIsNotChecked) {
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  startWith(delegate);
  host::Runtime::current().hideClass(GetParam().name);
  present();
  tap();
  EXPECT_EQ(takeCalls(), GetParam().calls);
  EXPECT_EQ(takeStatuses(), GetParam().statuses);
}

const std::string unseen = "A present after (null)";
INSTANTIATE_TEST_SUITE_P(
    Classes, KeptAMissingClass,
    Values(MissingClass{"UNUserNotificationCenter", {unseen, unseen, "A response after (null)"}, {}},
           MissingClass{"UNNotification", {unseen, unseen, "A response after g_e"}, {5}},
           MissingClass{"UNNotificationRequest", {"A present after 7", "A response after g_e"}, {4, 5}},
           MissingClass{"UNNotificationContent", {"A present after 7", "A response after g_e"}, {4, 5}},
           MissingClass{"UNNotificationResponse", {"A present after 7", "A response after (null)"}, {4}}),
    [](const auto& row) { return std::string(row.param.name); });

id refuse(id, SEL, id) { return nullptr; }

TEST_F(InterceptionOfTheHost, ObservesACenterOnceAndOnlyACenter) {
  const id center = currentNotificationCenter();
  const auto watchers = [&] { return host::sideData(center).observations.size(); };
  const auto failing = [](const char* method, const std::string& what) {
    return "pellion-warning -[PLMessagingRemoteNotificationsProxy " + std::string(method) +
           "]: An exception occurred while attempting to " + what +
           " a KVO observer for UNUserNotificationCenter's 'delegate' property: Cannot ";
  };
  const Class refusing = makeClass("Refusing", objc_getClass("UNUserNotificationCenter"));
  addMethod(refusing, "setDelegate:", refuse);  // not the type of a setter, so it cannot be observed
  const Class delegating = makeClass("Delegating");
  addMethod(
      delegating, "delegate", +[](id self, SEL) { return self; });
  proxy().monitorUserNotificationCenterDelegateChanges(makeInstance(delegating).get());
  EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges());
  const Class own = object_setClass(center, refusing);
  proxy().attachDelegateObserverToUserNotificationCenter(center);
  EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges());
  object_setClass(center, own);
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(StartsWith(failing("attachDelegateObserverToUserNotificationCenter:", "add") + "observe")));
  for (int i = 0; i < 2; ++i) {
    proxy().attachDelegateObserverToUserNotificationCenter(center);
    EXPECT_TRUE(proxy().isListeningForUserNotificationDelegateChanges());
    EXPECT_EQ(watchers(), 1U);
  }
  for (int i = 0; i < 2; ++i) {
    proxy().detachUserNotificationCenterDelegateObserver();
    EXPECT_FALSE(proxy().isListeningForUserNotificationDelegateChanges());
    EXPECT_EQ(watchers(), 0U);
  }
  proxy().attachDelegateObserverToUserNotificationCenter(center);
  platform::removeObserver(center, platform::objectOf(proxy()), "delegate");
  EXPECT_THAT(phone_.takeLines(), IsEmpty());
  proxy().detachUserNotificationCenterDelegateObserver();
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(StartsWith(failing("detachUserNotificationCenterDelegateObserver", "remove") + "remove")));
  EXPECT_TRUE(proxy().isListeningForUserNotificationDelegateChanges()) << "according to its own state";
}

TEST_F(InterceptionOfTheHost, FollowsNoDelegateOfAClassWhoseNotifyingNameIsTaken) {
  for (const char* name : {"NSKVONotifying_UIApplication", "NSKVONotifying_UNUserNotificationCenter"}) makeClass(name);
  Strong application = makeInstance(appDelegateClass("ShopDelegate"));
  const platform::Weak weakToApplication(application.get());
  const Strong first = makeInstance(centerDelegateClass<'A'>("First"));
  const Strong second = makeInstance(centerDelegateClass<'B'>("Second"));
  setAppDelegate(application.get());
  startWith(first);
  setCenterDelegate(second.get());
  EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), first.get());
  present();
  EXPECT_THAT(takeCalls(), ElementsAre("B present after (null)"));
  EXPECT_THAT(takeStatuses(), IsEmpty());
  setCenterDelegate(first.get());
  present();
  EXPECT_THAT(takeStatuses(), SizeIs(1));
  application = {};
  setAppDelegate(nullptr);
  EXPECT_TRUE(weakToApplication.load()) << "kept alive";
}

TEST(InterceptionsEnd, IsTheProcessesWithoutAnyTeardown) {
  MessagingPhone phone;
  phone.run([] {
    startApplication(makeInstance(appDelegateClass("ShopDelegate")));
    PLMessaging::startService();
  });
  phone.takeLog();
  phone->terminate();
  EXPECT_THAT(phone.takeLog(), IsEmpty());
}

}  // namespace

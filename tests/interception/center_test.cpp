// The notification center: its delegates' callbacks, and its delegate as it changes.

#include <gmock/gmock.h>

#include "tests/interception/interception_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

Class firstClass(id, SEL) { return objc_getClass("First"); }

TEST_F(Interception, FollowsTheCentersDelegateThroughEveryChange) {
  const Class first = centerDelegateClass<'A'>("First");
  const Class second = makeClass("Second", centerDelegateClass<'B'>("Base"));
  const Class undeclared = makeClass("Undeclared");
  addMethod<&notePresent<'U'>>(undeclared, willPresent);
  const Class saying = makeClass("Saying", undeclared);  // declares the protocol by what it says
  addMethod(saying, "conformsToProtocol:", agree<Protocol*>);
  const Class hidden = makeClass("Hidden", first);  // behind what `class` says, and so behind First's methods
  addMethod<&notePresent<'H'>>(hidden, willPresent);
  addMethod(hidden, "class", firstClass);
  for (const Class cls : {first, second, undeclared}) addMethod(cls, "isEqual:", agree<id>);
  const Strong a = makeInstance(first);
  const Strong twin = makeInstance(first);
  const Strong b = makeInstance(second);
  const Strong h = makeInstance(hidden);
  const Strong s = makeInstance(saying);
  const Strong u = makeInstance(undeclared);
  const IMP own = class_getMethodImplementation(first, sel(willPresent));
  startWith(a);
  const std::vector<std::string> ofFirst{"A present after 7", "A response after g_e"};
  const struct {
    id delegate;
    id intercepted;
    std::vector<std::string> calls;
    std::size_t entries;
  } changes[] = {
      {a.get(), a.get(), ofFirst, 2},
      {b.get(), b.get(), {"B present after 7", "B response after g_e"}, 2},
      {nullptr, nullptr, {}, 0},
      {twin.get(), twin.get(), ofFirst, 2},
      {a.get(), a.get(), ofFirst, 2},
      {h.get(), h.get(), {"H present after 7", "A response after g_e"}, 1},
      {s.get(), s.get(), {"U present after 7"}, 1},
      {u.get(), nullptr, {"U present after 7"}, 0},
  };
  for (const auto& [delegate, intercepted, calls, entries] : changes) {
    SCOPED_TRACE(&calls - &changes[0].calls);
    setCenterDelegate(delegate);
    proxy().unswizzleDelegateForUserNotificationCenter(platform::objectOf(proxy()));
    EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), intercepted);
    EXPECT_EQ(proxy().isUserNotificationDelegateSwizzled(), intercepted != nullptr);
    present();
    tap();
    EXPECT_EQ(takeCalls(), calls);
    EXPECT_THAT(phone_.takeEntries(), SizeIs(entries));
  }
  EXPECT_EQ(class_getMethodImplementation(first, sel(willPresent)), own) << "put back";
}

id get(id object, const char* property) { return platform::send<id()>(object, sel(property)); }

/// A class whose instances return what the platform's objects return, without being of their classes.
Class impostorClass() {
  const Class cls = makeClass("Impostor");
  addMethod(
      cls, "notification", +[](id, SEL) { return makeNotification(ours).autoreleased(); });
  addMethod(
      cls, "request", +[](id self, SEL) { return get(get(self, "notification"), "request"); });
  addMethod(
      cls, "content", +[](id self, SEL) { return get(get(self, "request"), "content"); });
  addMethod(
      cls, "userInfo", +[](id, SEL) { return platform::boxed(ours); });
  addMethod(
      cls, "actionIdentifier", +[](id, SEL) { return platform::boxed("tap"); });
  return cls;
}
id impostor(id, SEL) { return objc_autorelease(class_createInstance(objc_getClass("Impostor"), 0)); }
id noDictionary(id, SEL) { return platform::boxed(Value("no dictionary")); }

TEST_F(Interception, PassesOnUnchangedWhatIsNotTheCentersOwn) {
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  startWith(delegate);
  const id center = currentNotificationCenter();
  const Strong notification = makeNotification(ours);
  const Strong response = makeNotificationResponse(ours, "tap");
  const platform::Block<void(platform::UNNotificationPresentationOptions)> show([](auto) {});
  const platform::Block<void()> done([] {});
  const auto willPresentWith = [&](id from, id event, PresentationHandler handler) {
    platform::send<void(id, id, PresentationHandler)>(delegate.get(), sel(willPresent), from, event, handler);
  };
  const auto didRespondWith = [&](id from, id event, ResponseHandler handler) {
    platform::send<void(id, id, ResponseHandler)>(delegate.get(), sel(didRespond), from, event, handler);
  };
  willPresentWith(nullptr, notification.get(), show.get());
  willPresentWith(delegate.get(), notification.get(), show.get());
  willPresentWith(center, nullptr, show.get());
  willPresentWith(center, response.get(), show.get());
  willPresentWith(center, notification.get(), nullptr);
  const Strong other = makeInstance(impostorClass());
  willPresentWith(center, other.get(), show.get());
  didRespondWith(nullptr, response.get(), done.get());
  didRespondWith(delegate.get(), response.get(), done.get());
  didRespondWith(center, other.get(), done.get());
  didRespondWith(center, notification.get(), done.get());
  didRespondWith(center, response.get(), nullptr);
  EXPECT_THAT(takeCalls(), SizeIs(11)) << "once each";
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
  proxy().discardImplementationForSelector(sel(willPresent));
  present();
  EXPECT_THAT(takeStatuses(), ElementsAre(4));
  EXPECT_THAT(takeCalls(), IsEmpty()) << "no delegate is retained that could be called";
}

TEST_F(Interception, ReadsOnlyThePlatformsOwnClasses) {
  impostorClass();
  const Strong delegate = makeInstance(centerDelegateClass<'A'>("Inbox"));
  startWith(delegate);
  const struct {
    const char* cls;
    const char* property;
    id (*given)(id, SEL);
    std::vector<std::int64_t> statuses;
  } cases[] = {{"UNNotificationContent", "userInfo", noDictionary, {}},
               {"UNNotificationRequest", "content", impostor, {}},
               {"UNNotification", "request", impostor, {}},
               {"UNNotificationResponse", "notification", impostor, {4}}};
  for (const auto& [where, property, given, statuses] : cases) {
    const Method method = class_getInstanceMethod(objc_getClass(where), sel(property));
    const IMP own = method_setImplementation(method, codeOf(given));
    present();
    tap();
    EXPECT_EQ(takeStatuses(), statuses) << where;
    EXPECT_THAT(takeCalls(), SizeIs(2)) << "the delegate still receives the calls";
    method_setImplementation(method, own);
  }
}

TEST_F(Interception, ReplacesOnlyMethodsThatTheDelegateImplements) {
  const Class cls = declaringClass("Responder", "UNUserNotificationCenterDelegate");
  addMethod<&noteResponse<'R'>>(cls, didRespond);
  const Class deaf = declaringClass("Deaf", "UNUserNotificationCenterDelegate");
  const Strong delegate = makeInstance(cls);
  const Strong deafDelegate = makeInstance(deaf);
  PLMessaging::startService();
  setCenterDelegate(delegate.get());
  EXPECT_EQ(class_getInstanceMethod(cls, sel(willPresent)), nullptr);
  setCenterDelegate(deafDelegate.get());
  EXPECT_EQ(proxy().presentUserNotificationCenterDelegate(), deafDelegate.get()) << "though nothing was replaced";
  EXPECT_EQ(class_getMethodImplementation(cls, sel(didRespond)), platform::implementationOf<&noteResponse<'R'>>());
}

bool deniesWillPresent(id self, SEL, SEL selector) {
  return platform::uniqueSelector(selector) != sel(willPresent) &&
         class_getInstanceMethod(object_getClass(self), selector) != nullptr;
}

TEST_F(Interception, KeptRestoresASelectorThatWasNotReplaced) {
  const Class cls = centerDelegateClass<'A'>("Denying");
  addMethod(cls, "respondsToSelector:", deniesWillPresent);
  const Strong delegate = makeInstance(cls);
  startWith(delegate);
  setCenterDelegate(nullptr);
  EXPECT_THAT(raised([&] {
                platform::send<void(id, id, PresentationHandler)>(delegate.get(), sel(willPresent), nullptr, nullptr,
                                                                  nullptr);
              }),
              StartsWith(platform::invalidArgumentException));
}

std::vector<id> received;
void noteDonor(id, SEL, id center, id response, ResponseHandler handler) {
  received = {center, response};
  platform::invoke(handler);
}

TEST_F(Interception, KeptTheDonorThatIsNeverInstalled) {
  constexpr const char* donor = "pellionUserNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";
  PLMessaging::startService();
  const Method method = class_getInstanceMethod(objc_getClass("PLUserNotificationCenterDelegate"), sel(donor));
  const Class cls = makeClass("Inbox");
  addMethod<&noteDonor>(cls, donor);
  const Strong self = makeInstance(cls);
  const Strong other = makeInstance(cls);
  bool isDone = false;
  const platform::Block<void()> done([&] { isDone = true; });
  const auto code = reinterpret_cast<void (*)(id, SEL, id, id, ResponseHandler)>(method_getImplementation(method));
  code(self.get(), sel("anything"), self.get(), other.get(), done.get());
  EXPECT_THAT(received, ElementsAre(self.get(), other.get()));
  EXPECT_TRUE(isDone);
}

}  // namespace

// The application's delegate as a proxy: its subclass, its callbacks, and the application that replaces it.

#include <gmock/gmock.h>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/PLXAppDelegateObserver.h"
#include "appdelegate/proxied_app_delegate.h"
#include "host/objc_runtime.h"
#include "host/system_events.h"
#include "platform/dispatch.h"
#include "platform/key_value_observing.h"
#include "tests/support/test_application.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

constexpr const char* notConforming = "App Delegate does not conform to UIApplicationDelegate protocol.";
constexpr const char* created = "Successfully created App Delegate Proxy automatically.";

const auto answersAtOnce = [](FetchHandler handler, auto result) {
  platform::invoke(handler, static_cast<platform::UIBackgroundFetchResult>(result));
};
template <std::uint64_t result>
void fetchAtOnce(id, SEL, id, id, FetchHandler handler) {
  note('I', "fetch");
  answersAtOnce(handler, result);
}
template <std::uint64_t result>
void fetchLater(id, SEL, id, id, FetchHandler handler) {
  note('L', "fetch");
  const platform::Block<void(platform::UIBackgroundFetchResult)> kept(handler);
  platform::dispatchAsyncOnMainQueue([kept] { answersAtOnce(kept.get(), result); });
}
void fetchNever(id, SEL, id, id, FetchHandler) {}

class AppDelegate : public Test {
 protected:
  void start(const Strong& delegate) {
    host::startApplication(delegate);
    PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  }
  Strong addInterceptor(Class cls) {
    Strong interceptor = makeInstance(cls);
    PLAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor.get());
    return interceptor;
  }
  static ProxiedAppDelegate& proxied() { return ProxiedAppDelegate::shared(); }

  TestPhone phone_{configuration("http://127.0.0.1:1", {{"LOG_LEVEL", "verbose"}})};
  host::ProcessScope scope_{*phone_->process()};
};

TEST_F(AppDelegate, BecomesAnInstanceOfASubclassWithTheThreeCallbacks) {
  const Class base = makeClass("BaseDelegate");
  addMethod(base, didRegister, noteToken<'B'>);
  const Class cls = declaringClass("ShopDelegate", "UIApplicationDelegate", base);
  const Strong delegate = makeInstance(cls);
  start(delegate);
  start(delegate);
  const Class subclass = object_getClass(delegate.get());
  EXPECT_THAT(class_getName(subclass), MatchesRegex("PLX_ShopDelegate-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_EQ(class_getSuperclass(subclass), cls);
  for (const char* callback : {didRegister, didFail, didReceive}) {
    EXPECT_TRUE(responds(delegate.get(), callback));
    const IMP own = method_getImplementation(class_getInstanceMethod(cls, sel(callback)));
    EXPECT_EQ(PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(sel(callback), delegate.get()), own)
        << "inherited, or null";
  }
  EXPECT_FALSE(responds(makeInstance(cls).get(), didFail)) << "the application's class is not touched";
  EXPECT_THAT(phone_.takeLog(), ElementsAre(created));
}

TEST_F(AppDelegate, KeptTheTwoAssociationPolicies) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  start(delegate);
  std::map<const void*, objc_AssociationPolicy> policies;
  for (const auto& each : host::sideData(delegate.get()).associations) policies[each.key] = each.policy;
  EXPECT_THAT(policies, UnorderedElementsAre(Pair(kPLXOrigIMPBySelectorKey, OBJC_ASSOCIATION_RETAIN),
                                             Pair(kPLXOrigClassKey, OBJC_ASSOCIATION_RETAIN_NONATOMIC)));
}

/// Makes a class's instances grow when it goes, which no class does by itself.
class Swelling {
 public:
  static constexpr const char* className = "Swelling";
  static void defineClass(platform::ClassFace<Swelling>&) {}
  explicit Swelling(Class cls) : cls_(cls) {}
  ~Swelling() { cls_->instanceSize += sizeof(void*); }

 private:
  Class cls_;
};

TEST_F(AppDelegate, KeptAssociationsAreAttachedBeforeTheSizeCheck) {
  const Class cls = appDelegateClass("ShopDelegate");
  const Strong delegate = makeInstance(cls);
  objc_setAssociatedObject(delegate.get(), kPLXOrigClassKey, platform::makeObject<Swelling>(cls).get(),
                           OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  start(delegate);
  EXPECT_EQ(object_getClass(delegate.get()), cls);
  EXPECT_EQ(objc_getAssociatedObject(delegate.get(), kPLXOrigClassKey), platform::classObject(cls));
  EXPECT_EQ(PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(sel(didFail), delegate.get()), std::nullopt)
      << "the map is there, and empty";
  EXPECT_NE(objc_getAssociatedObject(delegate.get(), kPLXOrigIMPBySelectorKey), nullptr);
  EXPECT_THAT(phone_.takeLog(), ElementsAre("Cannot create subclass of App Delegate, because the created subclass is "
                                            "not the same size. ShopDelegate"));
}

Class raisingClass(id, SEL) { throw platform::Exception("SomeException", "no class today"); }
Class unregisteredClass(id self, SEL) { return objc_allocateClassPair(object_getClass(self), "NeverRegistered", 0); }

TEST_F(AppDelegate, IsLeftAloneWhereTheSubclassCannotBeMade) {
  const struct {
    const char* delegate;
    bool declares;
    Class (*cls)(id, SEL);
    std::string log;
  } cases[] = {
      {"None", false, nullptr, notConforming},
      {"Undeclared", false, nullptr, notConforming},
      {"Raising", true, raisingClass, "Cannot create App Delegate Proxy."},
      {"Unregistered", true, unregisteredClass,
       "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: NeverRegistered, subclass: "
       "Nil"},
  };
  for (const auto& [name, declares, method, log] : cases) {
    SCOPED_TRACE(name);
    phone_->launch();
    const host::ProcessScope scope(*phone_->process());
    const Class cls = declares ? appDelegateClass(name) : makeClass(name);
    if (method != nullptr) addMethod(cls, "class", method);
    const Strong delegate = std::string(name) == "None" ? Strong() : makeInstance(cls);
    start(delegate);
    EXPECT_EQ(object_getClass(delegate.get()), delegate ? cls : nullptr);
    EXPECT_FALSE(responds(delegate.get(), didRegister));
    EXPECT_EQ(proxied().aAppDelegateSubclass, nullptr);
    EXPECT_EQ(proxied().aOriginalAppDelegate, delegate) << "it was set again all the same";
    EXPECT_THAT(phone_.takeLog(), ElementsAre(log));
  }
}

TEST_F(AppDelegate, MayBeMissingWithItsApplication) {
  host::Runtime::current().hideClass("UIApplication");
  start(makeInstance(appDelegateClass("ShopDelegate")));
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving()) << "of nothing";
  EXPECT_THAT(phone_.takeLog(), ElementsAre(notConforming));
}

/// Gives the class of a delegate that is set a method, as somebody else might between two steps.
class Meddler {
 public:
  static constexpr const char* className = "Meddler";
  static void defineClass(platform::ClassFace<Meddler>& face) {
    face.method<&Meddler::observe>("observeValueForKeyPath:ofObject:change:context:");
  }
  void observe(id, id application, id, void*) {
    const id delegate = platform::send<id()>(application, sel("delegate"));
    if (delegate != nullptr) addMethod(object_getClass(delegate), didRegister, noteToken<'M'>);
  }
};

TEST_F(AppDelegate, KeepsAMethodThatItsSubclassHasAlready) {
  const Strong meddler = platform::makeObject<Meddler>();
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  host::startApplication(delegate);
  platform::addObserver(host::UIApplication::sharedApplication(), meddler.get(), "delegate", 0, nullptr);
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  host::deliverDeviceToken(nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("M token"));
  EXPECT_THAT(phone_.takeLog(), ElementsAre(created, "Cannot copy method to destination selector " +
                                                         std::string(didRegister) + " as it already exists"));
}

TEST_F(AppDelegate, IsCalledAfterTheInterceptorsAndOnlyWhereItHasAnImplementation) {
  const Class listening = appDelegateClass("Interceptor");
  addMethod(listening, didRegister, noteToken<'I'>);
  addMethod(listening, didFail, noteToken<'F'>);
  const Class cls = appDelegateClass("ShopDelegate");
  addMethod(cls, didRegister, noteToken<'A'>);
  const Strong twin = makeInstance(cls);
  start(makeInstance(cls));
  const Strong interceptor = addInterceptor(listening);
  host::deliverDeviceToken(nullptr);
  host::failToRegisterForRemoteNotifications({});
  EXPECT_THAT(takeCalls(), ElementsAre("I token", "A token", "F token"));
  platform::send<void(id, id)>(twin.get(), sel(didRegister), nullptr, nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("A token")) << "another delegate of the class hears for itself alone";
}

TEST_F(AppDelegate, MergesWhatTheParticipantsHaveFetched) {
  using Fetch = void (*)(id, SEL, id, id, FetchHandler);
  const struct {
    std::vector<Fetch> interceptors;
    Fetch own;
    std::vector<std::uint64_t> merged;
  } cases[] = {
      {{}, nullptr, {2}},
      {{fetchAtOnce<2>, fetchAtOnce<1>}, nullptr, {1}},
      {{fetchAtOnce<1>, fetchAtOnce<0>}, fetchAtOnce<2>, {0}},
      {{fetchAtOnce<2>}, fetchLater<2>, {2}},
      {{fetchAtOnce<1>}, fetchLater<0>, {0}},
      {{fetchAtOnce<7>}, nullptr, {2}},
      {{fetchAtOnce<(1ULL << 32U) + 1>}, nullptr, {1}},  // as a signed 32-bit number
      {{fetchAtOnce<1>}, fetchNever, {}},
  };
  for (const auto& [interceptors, own, merged] : cases) {
    SCOPED_TRACE(&interceptors - &cases[0].interceptors);
    phone_->launch();
    phone_.run([&, &fetches = interceptors, &ownFetch = own] {
      const Class cls = appDelegateClass("ShopDelegate");
      if (ownFetch != nullptr) addMethod(cls, didReceive, ownFetch);
      start(makeInstance(cls));
      std::vector<Strong> kept;
      for (const Fetch fetch : fetches) {
        const Class listening = appDelegateClass(("I" + std::to_string(kept.size())).c_str());
        addMethod(listening, didReceive, fetch);
        kept.push_back(addInterceptor(listening));
      }
      kept.push_back(addInterceptor(appDelegateClass("Deaf")));
      phone_.take("fetched");
      host::deliverInBackground(Value::dictionary({}));
      EXPECT_THAT(phone_.take("fetched"), IsEmpty()) << "later, on the main queue";
    });
    std::vector<std::uint64_t> results;
    for (const Value& details : phone_.take("fetched")) results.push_back(details.find("result")->unsignedInteger());
    EXPECT_EQ(results, merged);
  }
}

TEST_F(AppDelegate, KeptTheNilAndBackEndsWithTheDelegateWatched) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  start(delegate);
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving());
  EXPECT_EQ(proxied().aOriginalAppDelegate, delegate);
  EXPECT_EQ(host::sideData(host::UIApplication::sharedApplication()).observations.size(), 1U);
}

TEST_F(AppDelegate, IsLetGoOnceTheApplicationReplacesItAndTheNewOneIsNotProxied) {
  int deaths = 0;
  const Class cls = appDelegateClass("ShopDelegate");
  Strong delegate = makeInstance(cls);
  objc_setAssociatedObject(delegate.get(), &deaths, platform::makeObject<Mortal>(&deaths).get(),
                           OBJC_ASSOCIATION_RETAIN);
  {
    const platform::AutoreleasePool pool;
    setAppDelegate(delegate.get());
    PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
    setAppDelegate(delegate.get());
    delegate = {};
  }
  EXPECT_EQ(deaths, 0) << "the application does not keep it; the proxy does";
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving()) << "set again, it is the same";
  const Strong next = makeInstance(cls);
  {
    const platform::AutoreleasePool pool;
    setAppDelegate(next.get());
  }
  EXPECT_EQ(deaths, 1);
  EXPECT_FALSE(PLXAppDelegateObserver::sharedInstance().isObserving());
  setAppDelegate(nullptr);
  EXPECT_EQ(object_getClass(next.get()), cls);
  EXPECT_THAT(host::sideData(host::UIApplication::sharedApplication()).observations, IsEmpty());
}

}  // namespace

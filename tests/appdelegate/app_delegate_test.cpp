// The application's delegate as a proxy: its subclass, its callbacks, and its replacement by the application.

#include <gmock/gmock.h>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/PLXAppDelegateObserver.h"
#include "appdelegate/proxied_app_delegate.h"
#include "host/objc/objc_runtime.h"
#include "host/objc/programming_error.h"
#include "host/phone/system_events.h"
#include "platform/dispatch.h"
#include "platform/key_value_observing.h"
#include "tests/support/test_application.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

constexpr const char* notConforming =
    "verbose +[PLAppDelegateSwizzler proxyAppDelegate:]: App Delegate does not conform to UIApplicationDelegate "
    "protocol.";
const std::string creating = "pellion-warning +[PLAppDelegateSwizzler createSubclassWithObject:]: ";
const std::string created = creating + "Successfully created App Delegate Proxy automatically.";
const Value token = "T";

void answerWith(FetchHandler handler, std::uint64_t result) {
  platform::invoke(handler, static_cast<platform::UIBackgroundFetchResult>(result));
}
void expectArguments(SEL selector, id application, id userInfo) {
  EXPECT_EQ(selector, sel(didReceive));
  EXPECT_EQ(application, host::UIApplication::sharedApplication());
  EXPECT_EQ(platform::unboxed(userInfo), Value::dictionary({{"key", 1}}));
}
template <std::uint64_t result>
void fetchAtOnce(id, SEL selector, id application, id userInfo, FetchHandler handler) {
  expectArguments(selector, application, userInfo);
  answerWith(handler, result);
}
template <std::uint64_t result>
void fetchLater(id, SEL selector, id application, id userInfo, FetchHandler handler) {
  expectArguments(selector, application, userInfo);
  const platform::Block<void(platform::UIBackgroundFetchResult)> kept(handler);
  platform::dispatchAsyncOnMainQueue([kept] { answerWith(kept.get(), result); });
}
void fetchNever(id, SEL, id, id, FetchHandler) {}
void fetchTwice(id, SEL, id, id, FetchHandler handler) {
  answerWith(handler, 0);
  answerWith(handler, 0);
}

/// Observes each assignment of the application's delegate, as any observer may.
class Watcher {
 public:
  static constexpr const char* className = "Watcher";
  static void defineClass(platform::ClassFace<Watcher>& face) {
    face.method<&Watcher::observe>("observeValueForKeyPath:ofObject:change:context:");
  }
  explicit Watcher(std::function<void(id delegate)> callback) : callback_(std::move(callback)) {
    platform::addObserver(host::UIApplication::sharedApplication(), platform::objectOf(*this), "delegate", 0, nullptr);
  }
  void observe(id, id application, id, void*) { callback_(platform::send<id()>(application, sel("delegate"))); }

 private:
  std::function<void(id delegate)> callback_;
};

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

Class shopClass(id, SEL) { return objc_getClass("ShopDelegate"); }

TEST_F(AppDelegate, BecomesAnInstanceOfASubclassWithTheThreeCallbacks) {
  const Class base = makeClass("BaseDelegate");
  addMethod(base, didRegister, noteToken<'B'>);
  const Class cls = makeClass("ShopDelegate", base);
  addMethod(cls, "conformsToProtocol:", agree<Protocol*>);
  const Class hidden =
      makeClass("HiddenDelegate", cls);  // behind what `class` says, as when another object observes it
  addMethod(hidden, "class", shopClass);
  addMethod(hidden, didRegister, noteToken<'H'>);
  const Strong delegate = makeInstance(hidden);
  start(delegate);
  start(delegate);
  const Class subclass = object_getClass(delegate.get());
  EXPECT_THAT(class_getName(subclass), MatchesRegex("PLX_ShopDelegate-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_EQ(objc_getClass(class_getName(subclass)), subclass) << "registered";
  EXPECT_EQ(class_getSuperclass(subclass), cls);
  for (const char* callback : {didRegister, didFail, didReceive}) {
    EXPECT_TRUE(responds(delegate.get(), callback));
    const IMP own = method_getImplementation(class_getInstanceMethod(cls, sel(callback)));
    EXPECT_EQ(PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(sel(callback), delegate.get()), own)
        << "inherited, or null";
  }
  EXPECT_EQ(class_getInstanceMethod(cls, sel(didFail)), nullptr) << "the application's class is not touched";
  EXPECT_THAT(phone_.takeLines(), ElementsAre(created));
}

TEST_F(AppDelegate, KeptTheTwoAssociationPolicies) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  host::startApplication(delegate);
  std::vector<objc_AssociationPolicy> ofTheMap;
  const Strong watcher = platform::makeObject<Watcher>([&](id) {
    for (const auto& each : host::sideData(delegate.get()).associations) {
      if (each.key == kPLXOrigIMPBySelectorKey) ofTheMap.push_back(each.policy);
      if (each.key == kPLXOrigClassKey) {
        EXPECT_EQ(each.policy, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
      }
    }
  });
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  EXPECT_THAT(ofTheMap, ElementsAre(OBJC_ASSOCIATION_RETAIN_NONATOMIC, OBJC_ASSOCIATION_RETAIN_NONATOMIC,
                                    OBJC_ASSOCIATION_RETAIN, OBJC_ASSOCIATION_RETAIN))
      << "empty, then filled";
}

/// Enlarges a class's instances when it is destroyed, which no class does by itself.
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
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(creating + "Cannot create subclass of App Delegate, because the created subclass is not the "
                                     "same size. ShopDelegate"));
}

Class raisingClass(id, SEL) { throw platform::Exception("SomeException", "no class today"); }
Class unregisteredClass(id self, SEL) { return objc_allocateClassPair(object_getClass(self), "NeverRegistered", 0); }

TEST_F(AppDelegate, IsNotProxiedWhereTheSubclassCannotBeMade) {
  const struct {
    const char* delegate;
    bool declares;
    Class (*cls)(id, SEL);
    std::string log;
  } cases[] = {
      {"None", false, nullptr, notConforming},
      {"Undeclared", false, nullptr, notConforming},
      {"Raising", true, raisingClass,
       "verbose +[PLAppDelegateSwizzler proxyAppDelegate:]: Cannot create App Delegate Proxy."},
      {"Unregistered", true, unregisteredClass,
       creating + "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: NeverRegistered, "
                  "subclass: Nil"},
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
    EXPECT_EQ(proxied().aOriginalAppDelegate, delegate) << "it was set again anyway";
    EXPECT_THAT(phone_.takeLines(), ElementsAre(log));
  }
}

TEST_F(AppDelegate, KeptWithoutAnApplicationItCountsAsWatched) {
  host::Runtime::current().hideClass("UIApplication");
  start(makeInstance(appDelegateClass("ShopDelegate")));
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving()) << "of nothing";
  EXPECT_THAT(phone_.takeLines(), ElementsAre(notConforming));
}

TEST_F(AppDelegate, KeepsAMethodThatItsSubclassHasAlready) {
  host::startApplication(makeInstance(appDelegateClass("ShopDelegate")));
  const Strong watcher = platform::makeObject<Watcher>([](id delegate) {
    if (delegate != nullptr) addMethod(object_getClass(delegate), didRegister, noteToken<'M'>);
  });
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  host::deliverDeviceToken(&token);
  EXPECT_THAT(takeCalls(), ElementsAre("M token T"));
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(created,
                          "warning +[PLAppDelegateSwizzler registerInstanceMethodWithDestinationSelector:"
                          "withImplementationFromSourceSelector:fromClass:toClass:]: Cannot copy method to destination "
                          "selector " +
                              std::string(didRegister) + " as it already exists"));
}

TEST_F(AppDelegate, IsProxiedOnceForAnyActionOfAnObserver) {
  int notices = 0;
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  host::startApplication(delegate);
  const Strong watcher = platform::makeObject<Watcher>([&](id) {
    if (++notices == 3) PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
    if (notices == 4) throw platform::Exception("SomeException", "in the second stage");
  });
  EXPECT_EQ(raised([] { PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods(); }),
            "SomeException: in the second stage");
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  EXPECT_EQ(notices, 4);
  EXPECT_THAT(phone_.takeLines(), ElementsAre(created));
}

TEST_F(AppDelegate, IsCalledAfterTheInterceptorsAndOnlyWhereItHasAnImplementation) {
  const Class listening = appDelegateClass("Interceptor");
  addMethod(listening, didRegister, noteToken<'I'>);
  addMethod(listening, didFail, noteFailure<'I'>);
  const Class cls = appDelegateClass("ShopDelegate");
  addMethod(cls, didRegister, noteToken<'A'>);
  const Strong twin = makeInstance(cls);
  start(makeInstance(cls));
  const Strong interceptor = addInterceptor(listening);
  host::deliverDeviceToken(&token);
  host::failToRegisterForRemoteNotifications({"D", 3, "no network", {}});
  EXPECT_THAT(takeCalls(), ElementsAre("I token T", "A token T", "I failure no network"));
  setAppDelegate(twin.get());
  host::deliverDeviceToken(nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("A token (null)"))
      << "another delegate of the class receives only its own callback";
}

TEST_F(AppDelegate, MergesTheFetchResultsOfTheParticipants) {
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
      host::deliverInBackground(Value::dictionary({{"key", 1}}));
      EXPECT_THAT(phone_.take("fetched"), IsEmpty()) << "later, on the main queue";
    });
    std::vector<std::uint64_t> results;
    for (const Value& details : phone_.take("fetched")) results.push_back(details.find("result")->unsignedInteger());
    EXPECT_EQ(results, merged);
  }
}

TEST_F(AppDelegate, KeptAnInterceptorThatCompletesTwiceIsNotStopped) {
  const Class cls = appDelegateClass("ShopDelegate");
  addMethod(cls, didReceive, fetchTwice);
  start(makeInstance(cls));
  EXPECT_EQ(thrown<host::ProgrammingError>([] { host::deliverInBackground(Value::dictionary({})); }),
            "a dispatch group was left more often than it was entered");
}

TEST_F(AppDelegate, KeptTheDelegateIsSetToNilAndBackAndTheObserverIsNotified) {
  for (const bool canBeSubclassed : {true, false}) {
    SCOPED_TRACE(canBeSubclassed);
    phone_->launch();
    const host::ProcessScope scope(*phone_->process());
    const Class cls = appDelegateClass("ShopDelegate");
    if (!canBeSubclassed) addMethod(cls, "class", unregisteredClass);
    const Strong delegate = makeInstance(cls);
    host::startApplication(delegate);
    std::vector<std::tuple<bool, bool, bool>> notices;
    const Strong watcher = platform::makeObject<Watcher>([&](id set) {
      notices.emplace_back(set == delegate.get(), PLXAppDelegateObserver::sharedInstance().isObserving(),
                           static_cast<bool>(proxied().aOriginalAppDelegate));
    });
    PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
    using Notice = std::tuple<bool, bool, bool>;
    EXPECT_THAT(notices, ElementsAre(Notice(false, false, false), Notice(true, false, false), Notice(false, true, true),
                                     Notice(true, false, false)))
        << "set, observed, kept";
    EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving());
    EXPECT_EQ(proxied().aOriginalAppDelegate, delegate);
    PLXAppDelegateObserver::sharedInstance().observeUIApplication();
    EXPECT_EQ(host::sideData(host::UIApplication::sharedApplication()).observations.size(), 2U) << "and the watcher";
  }
}

TEST_F(AppDelegate, IsNotProxiedWhenItIsSetLateAndOtherChangesAreIgnored) {
  const Strong late = makeInstance(appDelegateClass("ShopDelegate"));
  start({});
  setAppDelegate(late.get());
  EXPECT_EQ(class_getName(object_getClass(late.get())), std::string("ShopDelegate"));
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving());
  proxied().aOriginalAppDelegate = late;
  const Value change = Value::dictionary({{"old", Value::object(late.get())}, {"new", nullptr}});
  platform::send<void(id, id, id, void*)>(platform::objectOf(PLXAppDelegateObserver::sharedInstance()),
                                          sel("observeValueForKeyPath:ofObject:change:context:"),
                                          platform::boxed(Value("window")), nullptr, platform::boxed(change), nullptr);
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving()) << "another key path";
}

TEST_F(AppDelegate, IsReleasedOnceTheApplicationReplacesItAndTheNewOneIsNotProxied) {
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
  addMethod(cls, "isEqual:", agree<id>);
  const Strong equal = makeInstance(cls);
  {
    const platform::AutoreleasePool pool;
    setAppDelegate(equal.get());
  }
  EXPECT_EQ(deaths, 0) << "no other one, as it is equal";
  const Strong next = makeInstance(appDelegateClass("NextDelegate"));
  {
    const platform::AutoreleasePool pool;
    setAppDelegate(next.get());
  }
  EXPECT_EQ(deaths, 1);
  EXPECT_FALSE(PLXAppDelegateObserver::sharedInstance().isObserving());
  setAppDelegate(nullptr);
  EXPECT_STREQ(class_getName(object_getClass(next.get())), "NextDelegate");
  EXPECT_THAT(host::sideData(host::UIApplication::sharedApplication()).observations, IsEmpty());
}

}  // namespace

// The application's delegate as a proxy: its subclass, its callbacks, and its replacement by the application.

#include "appdelegate/PLXAppDelegateObserver.h"
#include "platform/dispatch.h"
#include "tests/appdelegate/app_delegate_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

void answerWith(FetchHandler handler, std::uint64_t result) {
  platform::invoke(handler, static_cast<platform::UIBackgroundFetchResult>(result));
}
void expectArguments(SEL selector, id application, id userInfo) {
  EXPECT_EQ(selector, sel(didReceive));
  EXPECT_EQ(application, sharedApplication());
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

Class shopClass(id, SEL) { return objc_getClass("ShopDelegate"); }

TEST_F(AppDelegate, BecomesAnInstanceOfASubclassWithTheThreeCallbacks) {
  const Class base = makeClass("BaseDelegate");
  addMethod<&noteToken<'B'>>(base, didRegister);
  const Class cls = makeClass("ShopDelegate", base);
  addMethod(cls, "conformsToProtocol:", agree<Protocol*>);
  const Class hidden =
      makeClass("HiddenDelegate", cls);  // behind what `class` says, as when another object observes it
  addMethod(hidden, "class", shopClass);
  addMethod<&noteToken<'H'>>(hidden, didRegister);
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

Class raisingClass(id, SEL) { throw platform::Exception("SomeException", "no class today"); }
Class unregisteredClass(id self, SEL) { return objc_allocateClassPair(object_getClass(self), "NeverRegistered", 0); }

struct Unfit {
  const char* name;
  bool declares;
  bool (*addClassMethod)(Class cls, const char* selector);
  std::string log;
};
void PrintTo(const Unfit& row, std::ostream* out) { *out << row.name; }
class UnfitAppDelegate : public AppDelegate, public WithParamInterface<Unfit> {};

TEST_P(UnfitAppDelegate, IsNotProxied) {
  const auto& [name, declares, addClassMethod, log] = GetParam();
  const Class cls = declares ? appDelegateClass(name) : makeClass(name);
  if (addClassMethod != nullptr) addClassMethod(cls, "class");
  if (declares) addMethod(cls, "conformsToProtocol:", agree<Protocol*>);  // Foundation's may ask for the class
  const Strong delegate = std::string(name) == "None" ? Strong() : makeInstance(cls);
  start(delegate);
  EXPECT_EQ(object_getClass(delegate.get()), delegate ? cls : nullptr);
  EXPECT_FALSE(responds(delegate.get(), didRegister));
  EXPECT_EQ(proxied().aAppDelegateSubclass, nullptr);
  EXPECT_EQ(proxied().aOriginalAppDelegate, delegate) << "it was set again anyway";
  EXPECT_THAT(phone_.takeLines(), ElementsAre(log));
}

INSTANTIATE_TEST_SUITE_P(
    Delegates, UnfitAppDelegate,
    Values(Unfit{"None", false, nullptr, notConforming}, Unfit{"Undeclared", false, nullptr, notConforming},
           Unfit{"Raising", true, addMethod<&raisingClass>,
                 "verbose +[PLAppDelegateSwizzler proxyAppDelegate:]: Cannot create App Delegate Proxy."},
           Unfit{"Unregistered", true, addMethod<&unregisteredClass>,
                 creating + "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: "
                            "NeverRegistered, subclass: Nil"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(AppDelegate, KeepsAMethodThatItsSubclassHasAlready) {
  startApplication(makeInstance(appDelegateClass("ShopDelegate")));
  const Strong watcher = platform::makeObject<Watcher>([](id delegate) {
    if (delegate != nullptr) addMethod<&noteToken<'M'>>(object_getClass(delegate), didRegister);
  });
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  deliverDeviceToken(&token);
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
  startApplication(delegate);
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
  addMethod<&noteToken<'I'>>(listening, didRegister);
  addMethod<&noteFailure<'I'>>(listening, didFail);
  const Class cls = appDelegateClass("ShopDelegate");
  addMethod<&noteToken<'A'>>(cls, didRegister);
  const Strong twin = makeInstance(cls);
  start(makeInstance(cls));
  const Strong interceptor = addInterceptor(listening);
  deliverDeviceToken(&token);
  failToRegisterForRemoteNotifications({"D", 3, "no network", {}});
  EXPECT_THAT(takeCalls(), ElementsAre("I token T", "A token T", "I failure no network"));
  setAppDelegate(twin.get());
  deliverDeviceToken(nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("A token (null)"))
      << "another delegate of the class receives only its own callback";
}

using AddFetch = bool (*)(Class cls, const char* selector);
struct Fetches {
  std::vector<AddFetch> interceptors;
  AddFetch own;
  std::vector<std::uint64_t> merged;
};
void PrintTo(const Fetches& row, std::ostream* out) { *out << row.interceptors.size() << " interceptors"; }
class FetchResults : public AppDelegate, public WithParamInterface<Fetches> {};

TEST_P(FetchResults, OfTheParticipantsAreMerged) {
  std::vector<Strong> kept;
  phone_.run([&] {
    const Class cls = appDelegateClass("ShopDelegate");
    if (GetParam().own != nullptr) GetParam().own(cls, didReceive);
    start(makeInstance(cls));
    for (const AddFetch addFetch : GetParam().interceptors) {
      const Class listening = appDelegateClass(("I" + std::to_string(kept.size())).c_str());
      addFetch(listening, didReceive);
      kept.push_back(addInterceptor(listening));
    }
    kept.push_back(addInterceptor(appDelegateClass("Deaf")));
    deliverInBackground(Value::dictionary({{"key", 1}}));
    EXPECT_THAT(phone_.take("fetched"), IsEmpty()) << "later, on the main queue";
  });
  std::vector<std::uint64_t> results;
  for (const Value& details : phone_.take("fetched")) results.push_back(details.find("result")->unsignedInteger());
  EXPECT_EQ(results, GetParam().merged);
}

INSTANTIATE_TEST_SUITE_P(
    Results, FetchResults,
    Values(Fetches{{}, nullptr, {2}}, Fetches{{addMethod<&fetchAtOnce<2>>, addMethod<&fetchAtOnce<1>>}, nullptr, {1}},
           Fetches{{addMethod<&fetchAtOnce<1>>, addMethod<&fetchAtOnce<0>>}, addMethod<&fetchAtOnce<2>>, {0}},
           Fetches{{addMethod<&fetchAtOnce<2>>}, addMethod<&fetchLater<2>>, {2}},
           Fetches{{addMethod<&fetchAtOnce<1>>}, addMethod<&fetchLater<0>>, {0}},
           Fetches{{addMethod<&fetchAtOnce<7>>}, nullptr, {2}},
           Fetches{{addMethod<&fetchAtOnce<(1ULL << 32U) + 1>>}, nullptr, {1}},  // as a signed 32-bit number
           Fetches{{addMethod<&fetchAtOnce<1>>}, addMethod<&fetchNever>, {}}));

TEST_F(AppDelegate, KeptAnInterceptorThatCompletesTwiceIsNotStopped) {
  const Class cls = appDelegateClass("ShopDelegate");
  addMethod<&fetchTwice>(cls, didReceive);
  start(makeInstance(cls));
  EXPECT_EQ(programmingErrorIn([] { deliverInBackground(Value::dictionary({})); }),
            "a dispatch group was left more often than it was entered");
}

/// Removes one registration; removing an observer that is not registered raises.
bool isObservedBy(id object, id observer) {
  return raised([&] { platform::removeObserver(object, observer, "delegate"); }) == "nothing";
}

class AnyAppDelegate : public AppDelegate, public WithParamInterface<bool> {};

TEST_P(AnyAppDelegate, KeptIsSetToNilAndBackAndTheObserverIsNotified) {
  const bool canBeSubclassed = GetParam();
  const Class cls = appDelegateClass("ShopDelegate");
  if (!canBeSubclassed) {
    addMethod<&unregisteredClass>(cls, "class");
    addMethod(cls, "conformsToProtocol:", agree<Protocol*>);  // Foundation's may ask for the class
  }
  const Strong delegate = makeInstance(cls);
  startApplication(delegate);
  using Notice = std::tuple<bool, bool, bool>;
  std::vector<Notice> notices;
  const Strong watcher = platform::makeObject<Watcher>([&](id set) {
    notices.emplace_back(set == delegate.get(), PLXAppDelegateObserver::sharedInstance().isObserving(),
                         static_cast<bool>(proxied().aOriginalAppDelegate));
  });
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  EXPECT_THAT(notices, ElementsAre(Notice(false, false, false), Notice(true, false, false), Notice(false, true, true),
                                   Notice(true, false, false)))
      << "set, observed, kept";
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving());
  EXPECT_EQ(proxied().aOriginalAppDelegate, delegate);
  PLXAppDelegateObserver::sharedInstance().observeUIApplication();
  const id observer = platform::objectOf(PLXAppDelegateObserver::sharedInstance());
  EXPECT_TRUE(isObservedBy(sharedApplication(), observer));
  EXPECT_FALSE(isObservedBy(sharedApplication(), observer)) << "it observes once";
}

INSTANTIATE_TEST_SUITE_P(Subclassed, AnyAppDelegate, Bool());

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
  EXPECT_FALSE(isObservedBy(sharedApplication(), platform::objectOf(PLXAppDelegateObserver::sharedInstance())));
}

}  // namespace

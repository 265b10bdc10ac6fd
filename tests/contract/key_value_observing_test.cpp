#include <gmock/gmock.h>

#include "platform/text.h"
#include "tests/contract/observed_objects.h"

namespace {

using namespace test;
using platform::Strong;
using platform::Value;

TEST_F(KeyValueObserving, ReportsEachAssignmentWithOldAndNewValue) {
  int mark = 0;
  observe(newAndOld, &mark);
  setDelegate(delegate.get());
  setDelegate(delegate.get());
  setDelegate(nullptr);
  ASSERT_EQ(changes.size(), 3U);
  EXPECT_EQ(changes[0].key, "delegate");
  EXPECT_EQ(changes[0].object, application.get());
  EXPECT_EQ(changes[0].context, &mark);
  EXPECT_EQ(changes[0].oldValue, Value()) << "nil is the null object";
  EXPECT_EQ(changes[0].newValue->ifObject(), delegate.get());
  EXPECT_EQ(changes[1].oldValue->ifObject(), delegate.get());
  EXPECT_EQ(changes[1].newValue->ifObject(), delegate.get());
  EXPECT_EQ(changes[2].newValue, Value());
}

TEST_F(KeyValueObserving, ReportsNumbersTheRequestedValuesAndNoOtherKeys) {
  platform::addObserver(application.get(), watcher.get(), "badge", platform::NSKeyValueObservingOptionNew, nullptr);
  setDelegate(delegate.get());
  platform::send<void(std::int64_t)>(application.get(), sel("setBadge:"), 5);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].newValue, Value(5));
  EXPECT_EQ(changes[0].oldValue, std::nullopt);
}

TEST_F(KeyValueObserving, ObservesOneObjectWhoseReportedClassDoesNotChange) {
  const Strong other = platform::makeObject<Application>();
  observe();
  platform::send<void(id)>(other.get(), sel("setDelegate:"), delegate.get());
  EXPECT_TRUE(changes.empty());
  EXPECT_EQ(platform::send<Class()>(application.get(), sel("class")), platform::classOf<Application>());
}

TEST_F(KeyValueObserving, ObserverRegisteredTwiceIsNotifiedTwiceAndMayRemoveItselfInTheCall) {
  observe();
  observe();
  setDelegate(delegate.get());
  EXPECT_EQ(changes.size(), 2U);
  then = [this] {
    platform::removeObserver(application.get(), watcher.get(), "delegate");
    if (changes.size() == 3) platform::removeObserver(application.get(), watcher.get(), "delegate");
    then = nullptr;
  };
  setDelegate(nullptr);
  EXPECT_EQ(changes.size(), 3U) << "the second registration was removed before its turn";
  setDelegate(delegate.get());
  EXPECT_EQ(changes.size(), 3U);
}

TEST_F(KeyValueObserving, NotifiesSeveralObserversInTheOrderOfRegistrationEachOfWhatItAskedFor) {
  const Strong second = platform::makeObject<Watcher>();
  auto& others = platform::objectState<Watcher>(second.get()).changes;
  observe();
  platform::addObserver(application.get(), second.get(), "delegate", platform::NSKeyValueObservingOptionOld, nullptr);
  then = [&] { EXPECT_TRUE(others.empty()); };
  setDelegate(delegate.get());
  ASSERT_EQ(others.size(), 1U);
  EXPECT_EQ(others[0].oldValue, Value());
  EXPECT_EQ(others[0].newValue, std::nullopt);
}

TEST_F(KeyValueObserving, RemovesByContextAndRaisesForAnUnknownObserver) {
  int first = 0;
  int second = 0;
  observe(newAndOld, &first);
  observe(newAndOld, &second);
  platform::removeObserver(application.get(), watcher.get(), "delegate", &first);
  setDelegate(nullptr);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].context, &second);
  EXPECT_EQ(
      raised([&] { platform::removeObserver(application.get(), watcher.get(), "delegate", &first); }),
      platform::format("NSRangeException: Cannot remove an observer <ContractWatcher %p> for the key path \"delegate\" "
                       "from <ContractApplication %p> because it is not registered as an observer.",
                       {watcher.get(), application.get()}));
  const Strong unobserved = platform::makeObject<Application>();
  EXPECT_THROW(platform::removeObserver(unobserved.get(), watcher.get(), "delegate"), platform::Exception);
}

TEST_F(KeyValueObserving, RespectsASetterThatIsReplacedWhileItIsObserved) {
  observe();
  const Method method = class_getInstanceMethod(platform::classOf<Application>(), sel("setDelegate:"));
  method_setImplementation(method, codeOf(+[](id, SEL, id) {}));
  setDelegate(delegate.get());
  EXPECT_EQ(changes.at(0).newValue, Value()) << "the setter in force set nothing";
}

TEST_F(KeyValueObserving, ReachesTheMethodsExchangedBeforeTheFirstMessageToAnObservedObject) {
  const Class cls = platform::classOf<Application>();
  addMethod(cls, "first", answer<1>);
  addMethod(cls, "second", answer<2>);
  method_setImplementation(class_getInstanceMethod(cls, sel("first")), codeOf(answer<3>));
  observe();
  method_exchangeImplementations(class_getInstanceMethod(cls, sel("first")),
                                 class_getInstanceMethod(cls, sel("second")));
  EXPECT_EQ(ask(application.get(), "first"), 2);
  EXPECT_EQ(ask(application.get(), "second"), 3);
}

TEST_F(KeyValueObserving, SkipsADeallocatedObserver) {
  observe();
  const Strong other = platform::makeObject<Watcher>();
  platform::addObserver(application.get(), other.get(), "delegate", newAndOld, nullptr);
  watcher = {};
  setDelegate(delegate.get());
  EXPECT_EQ(platform::objectState<Watcher>(other.get()).changes.size(), 1U);
}

TEST_F(KeyValueObserving, DoesNothingForANullObject) {
  platform::addObserver(nullptr, watcher.get(), "delegate", 0, nullptr);
  platform::removeObserver(nullptr, watcher.get(), "delegate");
}

TEST_F(KeyValueObserving, UnhandledChangeRaises) {
  platform::addObserver(application.get(), delegate.get(), "delegate", newAndOld, nullptr);
  EXPECT_THAT(raised([&] { setDelegate(nullptr); }),
              testing::MatchesRegex("NSInternalInconsistencyException: <NSObject: 0x.*message was received but not "
                                    "handled.\nKey path: delegate\n.*"));
}

TEST_F(KeyValueObserving, ProxyForwardsObservingToItsTarget) {
  static id target = nullptr;
  target = application.get();
  const Class cls = makeClass("ContractObservingProxy", objc_getClass("NSProxy"));
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) { return target; });
  const Strong proxy = makeInstance(cls);
  platform::addObserver(proxy.get(), watcher.get(), "delegate", newAndOld, nullptr);
  platform::send<void(id)>(proxy.get(), sel("setDelegate:"), delegate.get());
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].object, application.get());
  platform::removeObserver(proxy.get(), watcher.get(), "delegate");
  setDelegate(nullptr);
  EXPECT_EQ(changes.size(), 1U);
}

TEST_F(KeyValueObserving, AnnouncedChangesNotifyWithTheValuesAroundThem) {
  const auto change = [&](const char* phase, const char* key) {
    platform::send<void(id)>(application.get(), sel(phase), platform::boxed(Value(key)));
  };
  platform::addObserver(application.get(), watcher.get(), "badge", newAndOld, nullptr);
  const Strong other = platform::makeObject<Application>();
  change("willChangeValueForKey:", "badge");
  change("willChangeValueForKey:", "delegate");  // not observed
  platform::objectState<Application>(application.get()).setBadge(3);
  platform::send<void(id)>(other.get(), sel("didChangeValueForKey:"), platform::boxed(Value("badge")));
  EXPECT_TRUE(changes.empty());
  change("didChangeValueForKey:", "delegate");
  change("didChangeValueForKey:", "badge");
  change("didChangeValueForKey:", "badge");  // ended already
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].oldValue, Value(0));
  EXPECT_EQ(changes[0].newValue, Value(3));
}

}  // namespace

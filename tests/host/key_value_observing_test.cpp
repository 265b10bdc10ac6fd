#include "platform/key_value_observing.h"
#include "host/objc/runtime_functions.h"

#include <gmock/gmock.h>

#include "platform/exception.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace test;
using platform::Strong;
using platform::Value;

constexpr std::uint64_t newAndOld = platform::NSKeyValueObservingOptionNew | platform::NSKeyValueObservingOptionOld;

class Application {
 public:
  static constexpr const char* className = "Application";
  static void defineClass(platform::ClassFace<Application>& face) {
    face.method<&Application::delegate>("delegate").method<&Application::setDelegate>("setDelegate:");
    face.method<&Application::badge>("badge").method<&Application::setBadge>("setBadge:");
    face.method<&Application::setName>("setName:");
  }
  id delegate() { return delegate_.get(); }
  void setDelegate(id delegate) { delegate_ = delegate; }
  std::int64_t badge() { return badge_; }
  void setBadge(std::int64_t badge) { badge_ = badge; }
  void setName(const char*) {}

 private:
  Strong delegate_;
  std::int64_t badge_ = 0;
};

struct Change {
  Value key;
  id object;
  std::optional<Value> oldValue, newValue;
  void* context;
};

class Watcher {
 public:
  static constexpr const char* className = "Watcher";
  static void defineClass(platform::ClassFace<Watcher>& face) {
    face.method<&Watcher::observe>("observeValueForKeyPath:ofObject:change:context:");
  }
  void observe(id keyPath, id object, id change, void* context) {
    const Value values = *platform::unboxed(change);
    const auto find = [&](const char* key) {
      const Value* value = values.find(key);
      return value == nullptr ? std::nullopt : std::optional(*value);
    };
    changes.push_back({*platform::unboxed(keyPath), object, find("old"), find("new"), context});
    if (then) then();
  }
  std::vector<Change> changes;
  std::function<void()> then;
};

class KeyValueObserving : public testing::Test {
 protected:
  void setDelegate(id newDelegate) { platform::send<void(id)>(application.get(), sel("setDelegate:"), newDelegate); }
  void observe(std::uint64_t options = newAndOld, void* context = nullptr) {
    platform::addObserver(application.get(), watcher.get(), "delegate", options, context);
  }

  TestProcess process;
  Strong application = platform::makeObject<Application>();
  Strong watcher = platform::makeObject<Watcher>();
  std::vector<Change>& changes = platform::objectState<Watcher>(watcher.get()).changes;
  std::function<void()>& then = platform::objectState<Watcher>(watcher.get()).then;
  Strong delegate = makeInstance(objc_getClass("NSObject"));
};

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

TEST_F(KeyValueObserving, RemovesByContextAndRaisesForAnUnknownObserver) {
  int first = 0;
  int second = 0;
  observe(newAndOld, &first);
  observe(newAndOld, &second);
  platform::removeObserver(application.get(), watcher.get(), "delegate", &first);
  setDelegate(nullptr);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].context, &second);
  EXPECT_EQ(raised([&] { platform::removeObserver(application.get(), watcher.get(), "delegate", &first); }),
            platform::format("NSRangeException: Cannot remove an observer <Watcher %p> for the key path \"delegate\" "
                             "from <Application %p> because it is not registered as an observer.",
                             {watcher.get(), application.get()}));
  const Strong unobserved = platform::makeObject<Application>();
  EXPECT_THROW(platform::removeObserver(unobserved.get(), watcher.get(), "delegate"), platform::Exception);
}

TEST_F(KeyValueObserving, RespectsASwizzledSetterAndSkipsADeallocatedObserver) {
  observe();
  const Method method = class_getInstanceMethod(platform::classOf<Application>(), sel("setDelegate:"));
  method_setImplementation(method, host::implementationOf(+[](id, SEL, id) {}));
  setDelegate(delegate.get());
  EXPECT_EQ(changes.at(0).newValue, Value()) << "the setter in force set nothing";
  watcher = {};
  setDelegate(delegate.get());
}

TEST_F(KeyValueObserving, RejectsKeysThatItCannotObserve) {
  const auto add = [&](const char* key) { platform::addObserver(application.get(), watcher.get(), key, 0, nullptr); };
  EXPECT_THROW(add("name"), platform::Exception);
  EXPECT_THROW(add("delegate.name"), platform::Exception);
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
  const Class cls = makeClass("Proxy", objc_getClass("NSProxy"));
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
  platform::addObserver(application.get(), watcher.get(), "title", newAndOld, nullptr);
  EXPECT_THAT(raised([&] { change("willChangeValueForKey:", "title"); }),
              testing::MatchesRegex("NSUnknownKeyException: \\[<Application 0x.*> valueForUndefinedKey:\\]: this class "
                                    "is not key value coding-compliant for the key title."));
}

TEST_F(KeyValueObserving, ClassWhoseNotifyingNameIsTakenIsReportedOnceAndObservedWithoutIt) {
  std::vector<Value> blocked;
  host::Clock clock{host::Clock::Kind::virtualTime};
  services::Network network;
  host::Process reporting({.clock = clock, .network = network, .sink = [&](const host::Event& event) {
                             EXPECT_EQ(std::string(event.actor) + " " + std::string(event.what), "platform blocked");
                             blocked.push_back(event.details);
                           }});
  const host::ProcessScope scope(reporting);
  makeClass("NSKVONotifying_Application");
  const Strong observed = platform::makeObject<Application>();
  const Strong observer = platform::makeObject<Watcher>();
  const auto& received = platform::objectState<Watcher>(observer.get()).changes;
  for (const char* key : {"delegate", "badge"}) {
    platform::addObserver(observed.get(), observer.get(), key, newAndOld, nullptr);
  }
  ASSERT_EQ(blocked.size(), 1U);
  EXPECT_EQ(blocked[0].find("reason")->text(),
            "key-value observing needs a class named NSKVONotifying_Application, and the name is taken");
  EXPECT_EQ(object_getClass(observed.get()), platform::classOf<Application>());
  platform::send<void(std::int64_t)>(observed.get(), sel("setBadge:"), 5);
  EXPECT_TRUE(received.empty());
  const id key = platform::boxed(Value("badge"));
  platform::send<void(id)>(observed.get(), sel("willChangeValueForKey:"), key);
  platform::send<void(std::int64_t)>(observed.get(), sel("setBadge:"), 6);
  platform::send<void(id)>(observed.get(), sel("didChangeValueForKey:"), key);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].oldValue, Value(5));
  EXPECT_EQ(received[0].newValue, Value(6));
  platform::removeObserver(observed.get(), observer.get(), "badge");
  EXPECT_THROW(platform::removeObserver(observed.get(), observer.get(), "badge"), platform::Exception);
}

}  // namespace

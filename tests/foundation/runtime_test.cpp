// What foundation/runtime/ and foundation/objc/ add to the runtime, one behaviour for each test.

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/class_face.h"
#include "platform/dispatch.h"
#include "platform/key_value_observing.h"
#include "platform/notification_center.h"
#include "platform/object_messages.h"
#include "tests/foundation/runtime_cases.h"
#include "tests/foundation/shop.h"

namespace runtime_test {

using platform::Block;
using platform::send;
using platform::Strong;
using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;

int answer(id /*self*/, SEL /*selector*/) { return 33; }

Strong make(const char* className) {
  return Strong::adopt(send<id()>(platform::classObject(objc_getClass(className)), sel_registerName("new")));
}
SEL selector(const char* name) { return sel_registerName(name); }

/// An object that tells what it receives and when it ends.
struct Witness {
  static constexpr const char* className = "Witness";
  static void defineClass(platform::ClassFace<Witness>& face) {
    face.method<&Witness::observe>(platform::observeValueForKeyPathSelector)
        .method<&Witness::receive>("receive:")
        .method<&Witness::value>("value")
        .method<&Witness::setValue>("setValue:");
  }
  explicit Witness(std::string name = "", std::vector<std::string>* seen = nullptr)
      : name_(std::move(name)), seen_(seen) {}
  void dealloc() {
    if (onEnd_) onEnd_();
  }
  void observe(id /*keyPath*/, id object, id change, void* context) {
    const auto newValue = platform::changedValue(change, "new");
    const auto oldValue = platform::changedValue(change, "old");
    seen_->push_back(name_ + (newValue ? " new " + newValue->description() : "") +
                     (oldValue ? " old " + oldValue->description() : "") + (context != nullptr ? " in context" : ""));
    if (onEvent_) onEvent_(object);
  }
  void receive(id notification) {
    seen_->push_back(name_);
    if (onEvent_) onEvent_(notification);
  }
  [[nodiscard]] id value() const { return value_.get(); }
  void setValue(id value) { value_ = value; }

  std::string name_;
  std::vector<std::string>* seen_;
  std::function<void(id)> onEvent_ = {};
  std::function<void()> onEnd_ = {};
  Strong value_ = {};
};

Witness& stateOf(const Strong& witness) { return platform::objectState<Witness>(witness.get()); }

class Runtime : public testing::Test {
 protected:
  const platform::AutoreleasePool pool_;
  std::vector<std::string> seen_;
};

TEST_F(Runtime, ExchangedMethodsReachSubclassesThatAreInUse) {
  const Strong base = make("Base");
  const Strong derived = make("Derived");
  ASSERT_EQ(cases_number(derived.get()), 1);
  const Class cls = object_getClass(base.get());
  method_exchangeImplementations(class_getInstanceMethod(cls, selector("number")),
                                 class_getInstanceMethod(cls, selector("other")));
  EXPECT_EQ(cases_number(base.get()), 2);
  EXPECT_EQ(cases_number(derived.get()), 2);
  const auto code = reinterpret_cast<IMP>(&answer);
  method_setImplementation(class_getInstanceMethod(object_getClass(derived.get()), selector("number")), code);
  EXPECT_EQ(cases_number(derived.get()), 33);
  EXPECT_EQ(cases_number(base.get()), 33);
}

TEST_F(Runtime, MethodsAddedToACompiledMetaclassAreFound) {
  const Class meta = object_getClass(platform::classObject(objc_getClass("Base")));
  EXPECT_TRUE(class_addMethod(meta, selector("number"), reinterpret_cast<IMP>(&answer), nullptr));
  EXPECT_FALSE(class_addMethod(meta, selector("number"), reinterpret_cast<IMP>(&answer), nullptr));
  EXPECT_EQ(cases_classNumber("Base"), 33);
}

TEST_F(Runtime, MarkerOfAMissingMethodForwardsWhenItIsCalled) {
  const Strong forwarder = make("Forwarder");
  const IMP marker = class_getMethodImplementation(object_getClass(forwarder.get()), selector("half:"));
  EXPECT_EQ(marker, class_getMethodImplementation(objc_getClass("NSObject"), selector("noSuchMethod")));
  EXPECT_FLOAT_EQ(platform::callImplementation<float(float)>(marker, forwarder.get(), selector("half:"), 3.0F), 1.5F);
  EXPECT_FLOAT_EQ(send<float(float)>(forwarder.get(), selector("half:"), 5.0F), 2.5F);
  EXPECT_DOUBLE_EQ(cases_takeForwarded(), 4);
}

TEST_F(Runtime, WeakSlotsReadNullFromTheFirstDealloc) {
  Strong witness = platform::makeObject<Witness>();
  platform::Weak weak(witness.get());
  bool readNull = false;
  stateOf(witness).onEnd_ = [&] { readNull = !weak.load(); };
  EXPECT_EQ(weak.load(), witness);
  witness = Strong();
  EXPECT_TRUE(readNull);
  EXPECT_FALSE(weak.load());
}

TEST_F(Runtime, WeakSlotsMayBeReadWhileTheirObjectsEnd) {
  platform::Weak weak;
  std::atomic<bool> isOver = false;
  std::thread reader([&] {
    const platform::AutoreleasePool pool;
    while (!isOver) {
      const Strong object = weak.load();
      if (object) objc_getAssociatedObject(object.get(), &weak);
    }
  });
  for (int i = 0; i < 20000; ++i) {
    const Strong object = Strong::adopt(class_createInstance(objc_getClass("NSObject"), 16));
    weak.store(object.get());
  }
  isOver = true;
  reader.join();
  EXPECT_FALSE(weak.load());
}

TEST_F(Runtime, AttachedObjectsEndWithTheirObject) {
  Strong object = make("NSObject");
  Strong attached = platform::makeObject<Witness>();
  bool hasEnded = false;
  stateOf(attached).onEnd_ = [&] { hasEnded = true; };
  static const char key = 0;
  objc_setAssociatedObject(object.get(), &key, attached.get(), OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  EXPECT_EQ(objc_getAssociatedObject(object.get(), &key), attached.get());
  attached = Strong();
  EXPECT_FALSE(hasEnded);
  object = Strong();
  EXPECT_TRUE(hasEnded);
}

TEST_F(Runtime, OptionalAndAdoptedMethodsOfProtocolsAreDescribed) {
  Protocol* const child = objc_getProtocol("Child");
  const struct {
    const char* name;
    bool isRequired;
    const char* types;  // how the description begins
  } rows[] = {{"required", true, "i"},
              {"required", false, nullptr},
              {"isOptional", false, "C"},
              {"run:", false, "v"},
              {"noSuchMethod", false, nullptr}};
  for (const auto& row : rows) {
    const auto found = protocol_getMethodDescription(child, selector(row.name), row.isRequired, true);
    EXPECT_EQ(found.name != nullptr, row.types != nullptr) << row.name;
    if (row.types != nullptr && found.types != nullptr) {
      EXPECT_EQ(*found.types, *row.types) << row.name;
    }
  }
  // The compiler of Foundation itself writes no lists of optional methods.
  EXPECT_EQ(protocol_getMethodDescription(objc_getProtocol("NSCopying"), selector("run:"), false, true).name, nullptr);
}

TEST_F(Runtime, SignaturesMayMentionBlocks) {
  EXPECT_TRUE(cases_makesSignature("v24@0:8@?16"));
  EXPECT_TRUE(cases_makesSignature("v24@0:8@?<v@?@?<v@?>>16"));
}

TEST_F(Runtime, CopiedBlocksKeepWhatTheyCapture) {
  Strong captured = platform::makeObject<Witness>();
  const platform::Weak weak(captured.get());
  Block<int()> kept;
  cases_withCountingBlock(
      captured.get(),
      [](void* to, id block) {
        *static_cast<Block<int()>*>(to) = Block<int()>(reinterpret_cast<platform::BlockPtr<int()>>(block));
      },
      &kept);
  captured = Strong();
  EXPECT_TRUE(weak.load());
  EXPECT_EQ(kept(), 1);
  EXPECT_EQ(Block<int()>(kept)(), 2);
  kept = Block<int()>();
  EXPECT_FALSE(weak.load());
}

TEST_F(Runtime, BlocksOfCxxAreCalledByObjectiveC) {
  auto shared = std::make_shared<int>(5);
  {
    const Block<int()> block([shared] { return ++*shared; });
    EXPECT_EQ(cases_callNumberBlock(platform::blockId(block.get())), 6);
    EXPECT_EQ(shared.use_count(), 2);
  }
  EXPECT_EQ(shared.use_count(), 1);
}

TEST_F(Runtime, MessagesMayHaveAnySignature) {
  const Strong summing = make("Summing");
  const double sum = send<double(float, double, std::int64_t, bool, id, std::int32_t, std::int16_t, std::int64_t)>(
      summing.get(), selector("sumOf:and:and:and:and:and:and:and:"), 0.5F, 0.25, 1000, true, platform::boxed(Value(20)),
      300, static_cast<std::int16_t>(-4), 5000);
  EXPECT_DOUBLE_EQ(sum, 0.75 + 1000 + 1 + 20 + 300 - 4 + 5000);
  EXPECT_FLOAT_EQ(send<float(float)>(nullptr, selector("half:"), 3.0F), 0);
}

std::string raisedBy(const std::function<void()>& work) {
  try {
    work();
  } catch (const platform::Exception& exception) {
    return exception.name() + " " + exception.reason();
  }
  return "nothing";
}

TEST_F(Runtime, WhatMessagesRaiseIsAnExceptionOfThePlatform) {
  const Strong summing = make("Summing");
  EXPECT_EQ(raisedBy([&] { send<void(double)>(summing.get(), selector("raiseFor:"), 2.5); }),
            "SummingException for 2.5");
  EXPECT_THAT(raisedBy([&] { send<void(double)>(summing.get(), selector("half:"), 1.0); }),
              HasSubstr("-[Summing half:]: called as \"v@:d\" but declared as"));
  EXPECT_THAT(raisedBy([&] { send<id()>(platform::boxed(Value::list({1})), selector("lowercaseString")); }),
              HasSubstr("unrecognized selector"));
}

struct CompletedState {
  static constexpr const char* className = "Completed";
  static void defineClass(platform::ClassFace<CompletedState>& face) { face.method<&CompletedState::number>("number"); }
  [[nodiscard]] int number() const { return value; }
  int value = 12;
};

TEST_F(Runtime, CompiledClassesAreCompleted) {
  const Strong object = platform::makeObject<CompletedState>();
  EXPECT_EQ(platform::classOf(object.get()), objc_getClass("Completed"));
  EXPECT_EQ(cases_number(object.get()), 12);
  EXPECT_EQ(cases_classNumber("Completed"), 7);
  EXPECT_THAT(raisedBy([] { send<id()>(platform::classObject(objc_getClass("Completed")), selector("alloc")); }),
              HasSubstr("instances are made in C++"));
}

TEST_F(Runtime, ValuesSurviveAsObjects) {
  const Value values[] = {Value(),
                          true,
                          false,
                          0,
                          -1,
                          INT64_MIN,
                          std::uint64_t{1} << 63U,
                          (std::int64_t{1} << 53) + 1,
                          0.1,
                          "",
                          "\u00e4\U0001F916",
                          std::string_view("a\0b", 3),
                          Value::bytes(std::string_view("\0\xff", 2)),
                          Value::list({}),
                          Value::dictionary({{"a", Value::list({1, Value(), "x"})}, {"b", Value::dictionary({})}})};
  for (const Value& each : values) {
    const auto back = platform::unboxed(platform::boxed(each));
    ASSERT_TRUE(back) << each.description();
    EXPECT_EQ(*back, each) << each.description();
    EXPECT_EQ(back->kind(), each.kind()) << each.description();
  }
  EXPECT_EQ(platform::unboxed(cases_date())->kind(), Value::Kind::object);
  EXPECT_EQ(platform::unboxed(cases_arrayInItself())->kind(), Value::Kind::list);
  EXPECT_EQ(platform::unboxed(nullptr), std::nullopt);
}

TEST_F(Runtime, ObserversOfAPropertyAreNotifiedAsDocumented) {
  const Strong object = platform::makeObject<Witness>();
  const Strong first = platform::makeObject<Witness>("first", &seen_);
  Strong second = platform::makeObject<Witness>("second", &seen_);
  const auto set = [&](const Value& value) {
    send<void(id)>(object.get(), selector("setValue:"), platform::boxed(value));
  };
  int context = 0;
  platform::addObserver(object.get(), first.get(), "value", 3, nullptr);
  platform::addObserver(object.get(), second.get(), "value", platform::NSKeyValueObservingOptionNew, nullptr);
  platform::addObserver(object.get(), first.get(), "value", 0, &context);
  set(1);
  set(1);
  EXPECT_THAT(seen_, ElementsAre("first new 1 old <null>", "second new 1", "first in context", "first new 1 old 1",
                                 "second new 1", "first in context"));
  seen_.clear();
  stateOf(first).onEvent_ = [&](id observed) { platform::removeObserver(observed, second.get(), "value"); };
  platform::removeObserver(object.get(), first.get(), "value", &context);
  set(2);
  EXPECT_THAT(seen_, ElementsAre("first new 2 old 1"));
  stateOf(first).onEvent_ = {};
  platform::removeObserver(object.get(), first.get(), "value");
  set(3);
  EXPECT_EQ(seen_.size(), 1U);
  EXPECT_THAT(raisedBy([&] { platform::removeObserver(object.get(), first.get(), "value"); }),
              HasSubstr("NSRangeException Cannot remove an observer <Witness 0x"));
  platform::addObserver(object.get(), second.get(), "value", 3, nullptr);
  second = Strong();
  set(4);
  EXPECT_EQ(seen_.size(), 1U);
}

TEST_F(Runtime, ObserversOfNotificationsAreCalledAsDocumented) {
  namespace NotificationCenter = platform::NotificationCenter;
  std::vector<Strong> observers;
  for (const char* name : {"a", "b", "c", "gone"}) {
    observers.push_back(platform::makeObject<Witness>(name, &seen_));
    NotificationCenter::addObserver(observers.back().get(), selector("receive:"), "News", nullptr);
  }
  NotificationCenter::addObserver(observers[0].get(), selector("receive:"), "News", observers[1].get());
  observers.pop_back();
  stateOf(observers[0]).onEvent_ = [&](id) { NotificationCenter::removeObserver(observers[1].get()); };
  NotificationCenter::postNotificationName("News", observers[1].get());
  EXPECT_THAT(seen_, ElementsAre("a", "c", "a"));
  NotificationCenter::postNotificationName("News", nullptr);
  EXPECT_THAT(seen_, ElementsAre("a", "c", "a", "a", "c"));
}

TEST_F(Runtime, WorkOnTheMainQueueRunsLaterAndInOrder) {
  platform::dispatchAfterOnMainQueue(std::chrono::milliseconds(300), [&] { seen_.emplace_back("after"); });
  std::thread([&] { platform::dispatchAsyncOnMainQueue([&] { seen_.emplace_back("from a thread"); }); }).join();
  platform::dispatchAsyncOnMainQueue([&] {
    seen_.emplace_back("first");
    platform::dispatchAsyncOnMainQueue([&] { seen_.emplace_back("nested"); });
  });
  EXPECT_TRUE(seen_.empty());
  const platform::DispatchGroup group;
  group.notifyOnMainQueue([&] { seen_.emplace_back("group"); });
  EXPECT_TRUE(
      shop_runUntil([](void* seen) { return static_cast<std::vector<std::string>*>(seen)->size() == 5; }, &seen_));
  EXPECT_THAT(seen_, ElementsAre("from a thread", "first", "group", "nested", "after"));
}

}  // namespace runtime_test

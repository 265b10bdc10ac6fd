// What foundation/runtime/ and foundation/objc/ add to the runtime for code in Objective-C, one behaviour for each
// test; tests/contract has what C++ sees.

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "platform/class_face.h"
#include "platform/dispatch.h"
#include "platform/key_value_observing.h"
#include "platform/notification_center.h"
#include "platform/object_messages.h"
#include "platform/value.h"
#include "tests/foundation/runtime_cases.h"

namespace runtime_test {

using platform::Block;
using platform::send;
using platform::Strong;
using platform::Value;
using testing::HasSubstr;

int answer(id /*self*/, SEL /*selector*/) { return 33; }

Strong make(const char* className) {
  return Strong::adopt(send<id()>(platform::classObject(objc_getClass(className)), sel_registerName("new")));
}
SEL selector(const char* name) { return sel_registerName(name); }

class Runtime : public testing::Test {
 protected:
  const platform::AutoreleasePool pool_;
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
  method_exchangeImplementations(class_getInstanceMethod(objc_getClass("Adopter"), selector("required")),
                                 class_getInstanceMethod(cls, selector("number")));
  EXPECT_EQ(cases_number(derived.get()), 0) << "both classes of an exchange";
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

// Each thread locks what belongs to both objects, in one order.
TEST_F(Runtime, WeakSlotsMayMoveBetweenTwoObjectsInBothDirections) {
  const Strong first = make("NSObject");
  const Strong second = make("NSObject");
  const auto move = [](id from, id to) {
    platform::Weak weak;
    for (int i = 0; i < 20000; ++i) {
      weak.store(from);
      weak.store(to);
    }
  };
  std::thread other([&] { move(first.get(), second.get()); });
  move(first.get(), second.get());
  other.join();
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
  Strong captured = make("NSObject");
  Strong borrowed = make("NSObject");
  const platform::Weak weak(captured.get());
  const platform::Weak weakBorrowed(borrowed.get());
  Block<int()> kept;
  cases_withCountingBlock(
      captured.get(), borrowed.get(),
      [](void* to, id block) {
        *static_cast<Block<int()>*>(to) = Block<int()>(reinterpret_cast<platform::BlockPtr<int()>>(block));
      },
      &kept);
  captured = Strong();
  borrowed = Strong();
  EXPECT_TRUE(weak.load());
  EXPECT_FALSE(weakBorrowed.load()) << "a __block variable retains nothing";
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
  EXPECT_THAT(raisedBy([&] { send<void()>(summing.get(), selector("raiseNumber")); }),
              testing::MatchesRegex("NS.*Number 7"));
  EXPECT_THAT(raisedBy([&] { send<void(double)>(summing.get(), selector("half:"), 1.0); }),
              HasSubstr("-[Summing half:]: called as \"v@:d\" but declared as"));
  EXPECT_THAT(raisedBy([&] { send<id()>(platform::boxed(Value::list({1})), selector("lowercaseString")); }),
              HasSubstr("unrecognized selector"));
}

struct Raising {
  static constexpr const char* className = "RaisingInCxx";
  static void defineClass(platform::ClassFace<Raising>& face) {
    face.method<&Raising::raise>("raise").method<&Raising::exhaust>("exhaust").method<&Raising::fail>("fail");
    face.method<&Raising::pass>("pass").method<&Raising::receive>("receive:");
  }
  static void raise() { throw platform::Exception("CxxException", "from C++"); }
  static void exhaust() { throw std::bad_alloc(); }
  static void fail() { throw std::out_of_range("no such place"); }
  static void pass() { send<void()>(make("Summing").get(), selector("raiseKept")); }
  static void receive(id /*notification*/) { raise(); }
};

Value nameOf(id exception) { return platform::unboxed(platform::property(exception, "name")).value_or(Value()); }

TEST_F(Runtime, ObjectiveCCatchesWhatMethodsInCxxRaise) {
  const Strong raising = platform::makeObject<Raising>();
  const std::pair<const char*, const char*> rows[] = {
      {"raise", "CxxException"}, {"exhaust", "NSMallocException"}, {"fail", "NSInternalInconsistencyException"}};
  for (const auto& [message, name] : rows) {
    bool finallyRan = false;
    EXPECT_EQ(nameOf(cases_caughtFrom(raising.get(), message, &finallyRan)), Value(name));
    EXPECT_TRUE(finallyRan) << message;
  }
  bool finallyRan = false;
  EXPECT_EQ(cases_caughtFrom(raising.get(), "pass", &finallyRan), cases_keptException()) << "the same object";
  finallyRan = false;
  platform::NotificationCenter::addObserver(raising.get(), selector("receive:"), "Raised", nullptr);
  EXPECT_EQ(nameOf(cases_caughtFromPost("Raised", &finallyRan)), Value("CxxException"));
  EXPECT_TRUE(finallyRan);
}

TEST_F(Runtime, ObserversMayBeAddedAgainWhenTheObjectHasRefusedThem) {
  const Strong refusing = make("Refusing");
  const Strong observer = make("NSObject");
  const auto observe = [&] { platform::addObserver(refusing.get(), observer.get(), "number", 0, nullptr); };
  EXPECT_EQ(raisedBy(observe), "RefusingException not yet");
  EXPECT_EQ(raisedBy(observe), "nothing");
  EXPECT_EQ(cases_number(refusing.get()), 2);
  platform::removeObserver(refusing.get(), observer.get(), "number");
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

struct StateWithVariable {
  static constexpr const char* className = "CompletedWithVariable";
  static void defineClass(platform::ClassFace<StateWithVariable>& /*face*/) {}
};

TEST_F(Runtime, CompletedClassesDeclareNoVariables) {
  EXPECT_DEATH(platform::makeObject<StateWithVariable>(),
               "PellionMessaging: the class CompletedWithVariable is completed in C\\+\\+, so it cannot declare");
}

TEST_F(Runtime, TextsWithoutACounterpartAreReplaced) {
  EXPECT_EQ(platform::unboxed(cases_brokenText()), Value("ab")) << "without the half of a pair";
  EXPECT_EQ(platform::unboxed(platform::boxed(Value::list({"\xff", 1}))), Value::list({nullptr, 1})) << "no UTF-8";
}

TEST_F(Runtime, ProxiesOfValuesAreValues) {
  for (const Value& value : {Value("text"), Value::list({1, "a"}), Value::dictionary({{"a", 1}}), Value(7)}) {
    EXPECT_EQ(platform::unboxed(cases_proxyOf(platform::boxed(value))), value) << value.description();
  }
}

TEST_F(Runtime, ObjectsThatNoValueHoldsStayThemselves) {
  EXPECT_EQ(platform::unboxed(cases_date())->kind(), Value::Kind::object);
  EXPECT_EQ(platform::unboxed(cases_arrayInItself())->description(), "(\n    \"(a container inside itself)\"\n)");
}

TEST_F(Runtime, TheMainQueueRunsInTheCommonModes) {
  using std::chrono_literals::operator""ms;
  for (const char* mode : {"NSDefaultRunLoopMode", "NSRunLoopCommonModes", "NSEventTrackingRunLoopMode",
                           "NSModalPanelRunLoopMode", "UITrackingRunLoopMode"}) {
    std::atomic<int> soon = 0;
    std::atomic<int> later = 0;
    const auto schedule = [&] {
      const platform::AutoreleasePool pool;
      platform::dispatchAsyncOnMainQueue([&] { ++soon; });
      platform::dispatchAfterOnMainQueue(20ms, [&] { ++later; });
    };
    schedule();
    std::thread(schedule).join();
    const auto end = std::chrono::steady_clock::now() + 10'000ms;
    while (later < 2 && std::chrono::steady_clock::now() < end) cases_turnRunLoop(mode);
    EXPECT_EQ(soon, 2) << mode;
    EXPECT_EQ(later, 2) << mode;
  }
}

}  // namespace runtime_test

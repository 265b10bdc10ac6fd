#include "platform/send.h"
#include "host/objc/runtime_functions.h"

#include <gmock/gmock.h>

#include "platform/exception.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace test;
using platform::Exception;
using platform::Strong;
using platform::Value;

class Send : public testing::Test {
 protected:
  TestProcess process;
  Class cls = makeClass("Receiver");
  Strong object = makeInstance(cls);
};

TEST_F(Send, ArgumentsAndResultPassUnchangedNullReturnsZero) {
  addMethod(
      cls,
      "mix:with:and:", +[](id, SEL, std::int64_t a, double b, bool c) { return c ? static_cast<double>(a) * b : 0; });
  const SEL mix = sel("mix:with:and:");
  EXPECT_EQ((platform::send<double(std::int64_t, double, bool)>(object.get(), mix, -3, 0.5, true)), -1.5);
  EXPECT_EQ(ask(nullptr), 0);
  EXPECT_EQ(platform::send<id()>(nullptr, sel("anything")), nullptr);
}

TEST_F(Send, MissingMethodNamesClassSelectorAndReceiver) {
  EXPECT_EQ(
      raised([&] { ask(object.get(), "missing"); }),
      platform::format("NSInvalidArgumentException: -[Receiver missing]: unrecognized selector sent to instance %p",
                       {object.get()}));
  EXPECT_THAT(raised([&] { ask(platform::classObject(cls), "missing"); }),
              testing::HasSubstr("+[Receiver missing]: unrecognized selector sent to class 0x"));
}

TEST_F(Send, CallWithOtherTypesIsRejected) {
  addMethod(cls, "answer", answer<1>);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(raised([&] { platform::send<std::int64_t()>(object.get(), sel("answer")); }),
            "NSInvalidArgumentException: -[Receiver answer]: called as \"q@:\" but declared as \"i@:\"");
  EXPECT_EQ(ask(object.get()), 1);
}

TEST_F(Send, DeclaredEncodingsAreComparedByMeaning) {
  struct {
    const char* declared;
    bool fits;
  } const cases[] = {
      {"i24@0:8@16", true}, {"i@:@", true},          {"i@:@\"NSString\"", true},
      {"ri@:n@", true},     {"i@:@?", false},        {"i@:@?<v@?@>", false},
      {"i@:#", false},      {"i@:@@", false},        {"i@:", false},
      {"", false},          {nullptr, true},         {"i@:{CGSize=dd}", false},
      {"i@:^@", false},     {"i@:@\"Broken", false},
  };
  int number = 0;
  for (const auto& [declared, fits] : cases) {
    const SEL selector = sel(("case" + std::to_string(++number) + ":").c_str());
    class_addMethod(cls, selector, host::implementationOf(+[](id, SEL, id) { return 1; }), declared);
    const auto call = [&] { platform::send<int(id)>(object.get(), selector, object.get()); };
    EXPECT_EQ(raised(call) == "nothing", fits) << number;
  }
}

TEST_F(Send, ForwardingTargetAnswersInstead) {
  static id target = nullptr;
  const Class other = makeClass("Other");
  addMethod(other, "answer", answer<5>);
  const Strong helper = makeInstance(other);
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) { return target; });
  target = helper.get();
  EXPECT_EQ(ask(object.get()), 5);
  EXPECT_FALSE(platform::send<bool(SEL)>(object.get(), sel("respondsToSelector:"), sel("answer")));

  addMethod(cls, "answer", answer<6>);
  EXPECT_EQ(ask(object.get()), 6);
  const Method method = class_getInstanceMethod(cls, sel("answer"));
  method_setImplementation(method, class_getMethodImplementation(cls, sel("missing")));
  EXPECT_EQ(ask(object.get()), 5) << "a method without code of its own is forwarded too";

  target = object.get();
  EXPECT_THROW(ask(object.get()), Exception) << "to itself";
  addMethod(
      other, "forwardingTargetForSelector:", +[](id self, SEL, SEL) { return self == target ? nullptr : target; });
}

TEST_F(Send, RootClassesImplementTheUsualMethods) {
  using platform::classObject;
  using platform::send;
  const Class sub = makeClass("Sub", cls);
  const Strong one = makeInstance(sub);
  const auto is = [](const Strong& asked, const char* question, Class wanted) {
    return send<bool(Class)>(asked.get(), sel(question), wanted);
  };
  EXPECT_TRUE(is(one, "isKindOfClass:", cls));
  EXPECT_FALSE(is(one, "isMemberOfClass:", cls));
  EXPECT_TRUE(send<bool(Class)>(classObject(sub), sel("isSubclassOfClass:"), cls));
  EXPECT_EQ(send<Class()>(one.get(), sel("superclass")), cls);
  EXPECT_EQ(send<Class()>(classObject(sub), sel("class")), sub);
  EXPECT_TRUE(send<bool(SEL)>(classObject(cls), sel("respondsToSelector:"), sel("alloc")));
  EXPECT_FALSE(send<bool(SEL)>(one.get(), sel("respondsToSelector:"), sel("alloc")));
  EXPECT_TRUE(send<bool(SEL)>(classObject(cls), sel("instancesRespondToSelector:"), sel("init")));
  EXPECT_TRUE(send<bool(id)>(one.get(), sel("isEqual:"), one.get()));
  EXPECT_EQ(describe(one.get()), platform::format("<Sub: %p>", {one.get()}));
  EXPECT_EQ(describe(classObject(sub)), "Sub");
  const Strong made = Strong::adopt(send<id()>(classObject(sub), sel("new")));
  EXPECT_EQ(object_getClass(made.get()), sub);
  EXPECT_THROW(send<id()>(made.get(), sel("copy")), Exception);
}

TEST_F(Send, ValuesAreObjectsOfThePlatformsClasses) {
  struct {
    Value value;
    const char* className;
    const char* superclassName;
  } const cases[] = {
      {nullptr, "NSNull", "NSObject"},
      {true, "__NSCFBoolean", "NSNumber"},
      {12, "__NSCFNumber", "NSNumber"},
      {0.5, "__NSCFNumber", "NSNumber"},
      {"text", "__NSCFString", "NSString"},
      {Value::bytes("\x01"), "_NSInlineData", "NSData"},
      {Value::list({1}), "__NSArrayI", "NSArray"},
      {Value::dictionary({{"a", 1}}), "__NSDictionaryI", "NSDictionary"},
  };
  for (const auto& [value, className, superclassName] : cases) {
    const id box = platform::boxed(value);
    EXPECT_STREQ(class_getName(object_getClass(box)), className);
    EXPECT_STREQ(class_getName(class_getSuperclass(object_getClass(box))), superclassName);
    EXPECT_EQ(platform::unboxed(box), value);
    EXPECT_EQ(describe(box), value.description());
  }
  const id twelve = platform::boxed(Value(12));
  EXPECT_TRUE(platform::send<bool(id)>(twelve, sel("isEqual:"), platform::boxed(Value(12.0))));
  EXPECT_FALSE(platform::send<bool(id)>(twelve, sel("isEqual:"), platform::boxed(Value("12"))));
  EXPECT_FALSE(platform::send<bool(id)>(twelve, sel("isEqual:"), object.get()));
  EXPECT_EQ(platform::send<std::uint64_t()>(twelve, sel("hash")), Value(12.0).hash());
  EXPECT_EQ(platform::boxed(Value()), platform::boxed(Value())) << "there is one null object";
  EXPECT_EQ(platform::boxed(Value::object(object.get())), object.get());
  EXPECT_EQ(platform::unboxed(object.get())->ifObject(), object.get());
  EXPECT_EQ(platform::unboxed(nullptr), std::nullopt);
}

}  // namespace

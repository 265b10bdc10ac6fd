// Messages, and what leaves a method as an exception.

#include <gmock/gmock.h>

#include <map>

#include "platform/invocation.h"
#include "platform/object_messages.h"
#include "platform/text.h"
#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace {

using namespace test;
using platform::Exception;
using platform::send;
using platform::Strong;
using testing::HasSubstr;

class Sends : public Contract {
 protected:
  Class cls = makeClass("ContractReceiver");
  Strong object = makeInstance(cls);
};

using Mix = double(bool, std::int16_t, std::uint32_t, float, double, id, std::int64_t, std::int8_t, std::int32_t);
double mix(id, SEL, bool a, std::int16_t b, std::uint32_t c, float d, double e, id f, std::int64_t g, std::int8_t h,
           std::int32_t i) {
  return f == nullptr || !a ? 0
                            : b + static_cast<double>(c) + static_cast<double>(d) + e + static_cast<double>(g) + h + i;
}

TEST_F(Sends, PassArgumentsOfEverySizeMoreThanRegistersHold) {
  addMethod(cls, "a:b:c:d:e:f:g:h:i:", mix);
  EXPECT_EQ(send<Mix>(object.get(), sel("a:b:c:d:e:f:g:h:i:"), true, std::int16_t{-200}, 4'000'000'000U, 0.25F, 0.5,
                      object.get(), std::int64_t{1} << 40U, std::int8_t{-3}, -70'000),
            -200 + 4e9 + 0.75 + 1099511627776.0 - 3 - 70'000);
}

template <class R>
void expectResult(Class cls, id object, const char* selector, R (*code)(id, SEL), R expected) {
  addMethod(cls, selector, code);
  EXPECT_EQ(send<R()>(object, sel(selector)), expected) << selector;
}

TEST_F(Sends, ReturnResultsOfEveryKind) {
  expectResult<bool>(
      cls, object.get(), "boolean", [](id, SEL) { return true; }, true);
  expectResult<std::int8_t>(
      cls, object.get(), "tiny", [](id, SEL) { return std::int8_t{-3}; }, -3);
  expectResult<std::uint16_t>(
      cls, object.get(), "short", [](id, SEL) { return std::uint16_t{65'000}; }, 65'000);
  expectResult<std::int64_t>(
      cls, object.get(), "long", [](id, SEL) { return INT64_MIN; }, INT64_MIN);
  expectResult<float>(
      cls, object.get(), "float", [](id, SEL) { return 0.25F; }, 0.25F);
  expectResult<double>(
      cls, object.get(), "double", [](id, SEL) { return 0.1; }, 0.1);
  expectResult<id>(
      cls, object.get(), "self", [](id self, SEL) { return self; }, object.get());
}

TEST_F(Sends, ToNullGiveZero) {
  EXPECT_EQ(ask(nullptr), 0);
  EXPECT_EQ(send<id()>(nullptr, sel("anything")), nullptr);
  EXPECT_EQ(send<double(float)>(nullptr, sel("anything:"), 3.0F), 0);
}

TEST_F(Sends, OfAMissingMethodNameClassSelectorAndReceiver) {
  EXPECT_EQ(raised([&] { ask(object.get(), "missing"); }),
            platform::format(
                "NSInvalidArgumentException: -[ContractReceiver missing]: unrecognized selector sent to instance %p",
                {object.get()}));
  EXPECT_THAT(raised([&] { ask(platform::classObject(cls), "missing"); }),
              HasSubstr("+[ContractReceiver missing]: unrecognized selector sent to class 0x"));
}

TEST_F(Sends, WithOtherTypesAreRejectedEveryTime) {
  addMethod(cls, "answer", answer<1>);
  EXPECT_EQ(ask(object.get()), 1);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(raised([&] { send<std::int64_t()>(object.get(), sel("answer")); }),
              "NSInvalidArgumentException: -[ContractReceiver answer]: called as \"q@:\" but declared as \"i@:\"");
  }
  EXPECT_EQ(ask(object.get()), 1);
}

/// Whether a method declared as each of these may be called as "i@:@".
void expectFit(Class cls, id object, std::initializer_list<std::pair<const char*, bool>> cases) {
  int number = 0;
  for (const auto& [declared, fits] : cases) {
    const SEL selector = sel(("case" + std::to_string(++number) + ":").c_str());
    class_addMethod(cls, selector, codeOf(+[](id, SEL, id) { return 1; }), declared);
    EXPECT_EQ(raised([&] { send<int(id)>(object, selector, object); }) == "nothing", fits)
        << (declared == nullptr ? "null" : declared);
  }
}

TEST_F(Sends, CompareDeclaredEncodingsByMeaning) {
  expectFit(cls, object.get(),
            {{"i24@0:8@16", true},
             {"i@:@\"NSString\"", true},
             {"ri@:n@", true},
             {"i@:@@", false},
             {"i@:", false},
             {"i@:d", false},
             {"f@:@", false},
             {"i@:i", false}});
}

TEST_F(Sends, FitAMethodThatIsDeclaredWithoutTypes) { expectFit(cls, object.get(), {{nullptr, true}}); }

TEST_F(Sends, TellObjectsBlocksClassesAndPointersApart) {
  expectFit(cls, object.get(), {{"i@:@?", false}, {"i@:@?<v@?@>", false}, {"i@:#", false}, {"i@:^@", false}});
}

id raiseOwn(id, SEL selector) { throw Exception("OwnException", sel_getName(selector)); }
int countDestroyed = 0;
void raiseBehindADestructor(id self, SEL) {
  struct Guard {
    ~Guard() { ++countDestroyed; }
  } const guard;
  send<id()>(self, sel("raise"));
}

TEST_F(Sends, PassExceptionsThroughMethodsAndTheirDestructors) {
  addMethod<&raiseOwn>(cls, "raise");
  addMethod<&raiseBehindADestructor>(cls, "outer");
  EXPECT_EQ(raised([&] { send<void()>(object.get(), sel("outer")); }), "OwnException: raise");
  EXPECT_EQ(countDestroyed, 1);
}

TEST_F(Sends, TurnWhatThePlatformRaisesIntoAnException) {
  EXPECT_THAT(raised([&] { send<id()>(object.get(), sel("copy")); }), HasSubstr("NSInvalidArgumentException: "));
  EXPECT_THAT(raised([&] { send<void(SEL)>(object.get(), sel("doesNotRecognizeSelector:"), sel("some")); }),
              HasSubstr("NSInvalidArgumentException: "));
}

id aTarget = nullptr;
TEST_F(Sends, ReachTheForwardingTarget) {
  const Class other = makeClass("ContractTarget");
  addMethod(other, "answer", answer<5>);
  const Strong helper = makeInstance(other);
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) { return aTarget; });
  aTarget = helper.get();
  EXPECT_EQ(ask(object.get()), 5);
  EXPECT_FALSE(platform::respondsToSelector(object.get(), sel("answer")));
  addMethod(cls, "answer", answer<6>);
  EXPECT_EQ(ask(object.get()), 6) << "its own method comes first";
  const Method method = class_getInstanceMethod(cls, sel("answer"));
  method_setImplementation(method, class_getMethodImplementation(cls, sel("missing")));
  EXPECT_EQ(ask(object.get()), 5) << "a method without code of its own is forwarded too";
  aTarget = object.get();
  EXPECT_THROW(ask(object.get(), "other"), Exception) << "to itself";
}

TEST_F(Sends, TheUsualMessagesAreUnderstood) {
  const Class sub = makeClass("ContractSubReceiver", cls);
  const Strong one = makeInstance(sub);
  EXPECT_TRUE(platform::isKindOfClass(one.get(), cls));
  EXPECT_FALSE(send<bool(Class)>(one.get(), sel("isMemberOfClass:"), cls));
  EXPECT_TRUE(send<bool(Class)>(platform::classObject(sub), sel("isSubclassOfClass:"), cls));
  EXPECT_EQ(send<Class()>(one.get(), sel("superclass")), cls);
  EXPECT_EQ(platform::classOf(platform::classObject(sub)), sub);
  EXPECT_TRUE(platform::respondsToSelector(platform::classObject(cls), sel("alloc")));
  EXPECT_FALSE(platform::respondsToSelector(one.get(), sel("alloc")));
  EXPECT_TRUE(send<bool(SEL)>(platform::classObject(cls), sel("instancesRespondToSelector:"), sel("init")));
  EXPECT_TRUE(send<bool(id)>(one.get(), sel("isEqual:"), one.get()));
  EXPECT_EQ(describe(one.get()), platform::format("<ContractSubReceiver: %p>", {one.get()}));
  EXPECT_EQ(describe(platform::classObject(sub)), "ContractSubReceiver");
  const Strong made = Strong::adopt(send<id()>(platform::classObject(sub), sel("new")));
  EXPECT_EQ(object_getClass(made.get()), sub);
}

TEST_F(Sends, FollowForwardingTargetsToTheLastOneAndEndInACircle) {
  static std::map<id, id> targets;
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id self, SEL, SEL) { return targets[self]; });
  const Class last = makeClass("ContractTarget");
  addMethod(last, "answer", answer<5>);
  const Strong objects[] = {object, makeInstance(cls), makeInstance(cls), makeInstance(last)};
  for (int i = 0; i < 3; ++i) targets[objects[i].get()] = objects[i + 1].get();
  EXPECT_EQ(ask(object.get()), 5);
  targets[objects[2].get()] = object.get();
  EXPECT_THROW(ask(object.get(), "other"), Exception);
}

class Invocations : public Sends {};

TEST_F(Invocations, PassArgumentsOfEverySizeAndReturnTheResult) {
  addMethod(
      cls, "a:b:c:d:e:f:", +[](id, SEL, bool a, std::int16_t b, std::uint32_t c, float d, double e, id f) {
        return f == nullptr ? 0 : (a ? 1 : 0) + b + static_cast<double>(c) + static_cast<double>(d) + e;
      });
  auto invocation = platform::Invocation::invocationWithObjCTypes("d52@0:8B16s20I24f28d32@40");
  ASSERT_TRUE(invocation);
  invocation->setTarget(object.get());
  invocation->setSelector(sel("a:b:c:d:e:f:"));
  auto pass = [&, index = std::size_t{1}](auto argument) mutable { invocation->setArgument(&argument, ++index); };
  pass(true);
  pass(std::int16_t{-200});
  pass(std::uint32_t{4'000'000'000});
  pass(0.25F);
  pass(0.5);
  pass(object.get());
  invocation->invoke();
  double result = 0;
  invocation->getReturnValue(&result);
  EXPECT_EQ(result, 1 - 200 + 4e9 + 0.75);
}

TEST_F(Invocations, ReturnShortResultsInTheirSizeAndZeroForANullTarget) {
  addMethod(
      cls, "flag", +[](id, SEL) { return std::int8_t{-3}; });
  auto invocation = platform::Invocation::invocationWithObjCTypes("c@:");
  invocation->setSelector(sel("flag"));
  for (const id target : {object.get(), id()}) {
    invocation->setTarget(target);
    invocation->invoke();
    std::int8_t result[] = {5, 7};
    invocation->getReturnValue(result);
    EXPECT_EQ(result[0], target == nullptr ? 0 : -3);
    EXPECT_EQ(result[1], 7);
  }
}

TEST_F(Invocations, ExtendTheSignOfShortArguments) {
  addMethod(
      cls, "add:to:", +[](id, SEL, std::int8_t a, std::int16_t b) { return std::int64_t{a} + b; });
  auto invocation = platform::Invocation::invocationWithObjCTypes("q@:cs");
  const std::int8_t a = -3;
  const std::int16_t b = -200;
  invocation->setTarget(object.get());
  invocation->setSelector(sel("add:to:"));
  invocation->setArgument(&a, 2);
  invocation->setArgument(&b, 3);
  invocation->invoke();
  std::int64_t result = 0;
  invocation->getReturnValue(&result);
  EXPECT_EQ(result, -203);
}

TEST_F(Invocations, RejectArgumentsOutsideTheirEncoding) {
  addMethod(cls, "answer", answer<1>);
  auto invocation = platform::Invocation::invocationWithObjCTypes("v@:@");
  invocation->setTarget(object.get());
  EXPECT_THROW(invocation->setArgument(&object, 3), Exception);
  EXPECT_THROW(invocation->invoke(), Exception) << "no selector";
  invocation->setSelector(sel("answer"));
  EXPECT_THROW(invocation->invoke(), Exception) << "the method has other types";
  invocation->setSelector(sel("missing:"));
  EXPECT_THROW(invocation->invoke(), Exception);
}

TEST_F(Invocations, HaveNoMalformedEncoding) {
  for (const char* types : {static_cast<const char*>(nullptr), "", "v", "v@", "v:@", "v@:v", "v@:z", "v@:^",
                            "v@:{CGSize=dd}", "v@:^{Open", "v@:@?<"}) {
    EXPECT_FALSE(platform::Invocation::invocationWithObjCTypes(types)) << (types == nullptr ? "null" : types);
  }
}

}  // namespace

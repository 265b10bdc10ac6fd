#include "platform/invocation.h"

#include <gtest/gtest.h>

#include "platform/exception.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace test;
using platform::Exception;
using platform::Invocation;

class InvocationTest : public testing::Test {
 protected:
  TestProcess process;
  Class cls = makeClass("Receiver");
  platform::Strong object = makeInstance(cls);
};

TEST_F(InvocationTest, PassesArgumentsOfEverySizeAndReturnsTheResult) {
  addMethod(
      cls, "a:b:c:d:e:f:", +[](id, SEL, bool a, std::int16_t b, std::uint32_t c, float d, double e, id f) {
        return f == nullptr ? 0 : (a ? 1 : 0) + b + static_cast<double>(c) + static_cast<double>(d) + e;
      });
  auto invocation = Invocation::invocationWithObjCTypes("d52@0:8B16s20I24f28d32@40");
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

TEST_F(InvocationTest, ReturnsShortResultsInTheirSizeAndZeroForANullTarget) {
  addMethod(
      cls, "flag", +[](id, SEL) { return std::int8_t{-3}; });
  auto invocation = Invocation::invocationWithObjCTypes("c@:");
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

TEST_F(InvocationTest, ExtendsTheSignOfShortArguments) {
  addMethod(
      cls, "add:to:", +[](id, SEL, std::int8_t a, std::int16_t b) { return std::int64_t{a} + b; });
  auto invocation = Invocation::invocationWithObjCTypes("q@:cs");
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

TEST_F(InvocationTest, RejectsArgumentsOutsideItsEncoding) {
  addMethod(cls, "answer", answer<1>);
  auto invocation = Invocation::invocationWithObjCTypes("v@:@");
  invocation->setTarget(object.get());
  EXPECT_THROW(invocation->setArgument(&object, 3), Exception);
  EXPECT_THROW(invocation->invoke(), Exception) << "no selector";
  invocation->setSelector(sel("answer"));
  EXPECT_THROW(invocation->invoke(), Exception) << "the method has other types";
  invocation->setSelector(sel("missing:"));
  EXPECT_THROW(invocation->invoke(), Exception);
}

TEST_F(InvocationTest, MalformedEncodingReturnsNull) {
  for (const char* types : {static_cast<const char*>(nullptr), "", "v", "v@", "v:@", "v@:v", "v@:z", "v@:^",
                            "v@:{CGSize=dd}", "v@:^{Open", "v@:@?<"}) {
    EXPECT_FALSE(Invocation::invocationWithObjCTypes(types)) << (types == nullptr ? "null" : types);
  }
}

}  // namespace

#include <gtest/gtest.h>

#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

// Lifetimes in processes that end and in long chains; tests/contract has the others.

namespace {

using namespace test;
using platform::Strong;

class ObjcObject : public testing::Test {
 protected:
  TestProcess process;
  int deaths = 0;
  const char key = 0;
};

TEST_F(ObjcObject, LongChainIsReleasedWithoutADeepStack) {
  constexpr int length = 200'000;
  Strong chain;
  for (int i = 0; i < length; ++i) chain = platform::makeObject<Mortal>(&deaths, std::move(chain));
  chain = {};
  EXPECT_EQ(deaths, length);
}

TEST_F(ObjcObject, ObjectsOfAProcessEndBeforeTheirClasses) {
  struct Holder {
    Strong object;
  };
  {
    const TestProcess other;
    auto& holder = platform::Process::shared<Holder>();  // older than the object's class
    holder.object = platform::makeObject<Mortal>(&deaths);
    objc_setAssociatedObject(holder.object.get(), &key, platform::boxed(platform::Value("text")),
                             OBJC_ASSOCIATION_RETAIN);
  }
  EXPECT_EQ(deaths, 1);
}

}  // namespace

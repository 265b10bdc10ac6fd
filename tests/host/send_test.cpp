#include "platform/send.h"

#include <gmock/gmock.h>

#include "platform/exception.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace test;
using platform::Strong;
using platform::Value;

class Send : public testing::Test {
 protected:
  TestProcess process;
  Class cls = makeClass("Receiver");
  Strong object = makeInstance(cls);
};

TEST_F(Send, OddDeclarationsAreRejected) {
  const std::pair<const char*, bool> cases[] = {{"", false}, {"i@:{CGSize=dd}", false}, {"i@:@\"Broken", false}};
  int number = 0;
  for (const auto& [declared, fits] : cases) {
    const SEL selector = sel(("case" + std::to_string(++number) + ":").c_str());
    class_addMethod(cls, selector, codeOf(+[](id, SEL, id) { return 1; }), declared);
    const auto call = [&] { platform::send<int(id)>(object.get(), selector, object.get()); };
    EXPECT_EQ(raised(call) == "nothing", fits) << number;
  }
}

TEST_F(Send, ValuesAreObjectsOfTheClassesThatThePlatformsTextsShow) {
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
    EXPECT_EQ(describe(box), value.description());
  }
}

}  // namespace

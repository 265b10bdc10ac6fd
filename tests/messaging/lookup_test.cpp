#include <gmock/gmock.h>

#include "tests/messaging/messaging_phone.h"
#include "tests/support/raised.h"

namespace {

using platform::Value;
using test::json;

TEST(DeepSearch, isPreOrderAndSkipsListsInsideLists) {
  test::MessagingPhone phone;
  const std::vector<std::tuple<std::string, std::string, std::optional<Value>>> cases{
      {"addInfo", R"({"aps":{"alert":"x"},"addInfo":"text"})", "text"},
      {"alert", R"({"aps":{"alert":"x"},"addInfo":"text"})", "x"},
      {"k", R"({"a":[[{"k":1}]],"b":{"k":2}})", 2},
      {"k", R"({"a":[{"x":1},{"k":3}]})", 3},
      {"k", R"({"a":{"b":{"k":1}},"k":2})", 1},
      {"k", R"({"k":{"k":1}})", json(R"({"k":1})")},
      {"k", R"({"a":[{"b":[{"k":1}]}],"k":2})", 1},
      {"k", R"({"k":null})", nullptr},
      {"k", R"({"a":[[]],"b":{},"c":"k"})", std::nullopt},
  };
  phone.run([&] {
    const PLMessaging& messaging = PLMessaging::shared();
    for (const auto& [key, tree, expected] : cases) {
      const Value dictionary = json(tree);
      const Value* found = messaging.findValueForKey(key, &dictionary);
      EXPECT_EQ(found != nullptr ? std::optional(*found) : std::nullopt, expected) << tree;
    }
    EXPECT_EQ(messaging.findValueForKey("k", nullptr), nullptr);
    for (const auto& [searched, expected] :
         {std::pair<Value, const char*>{Value::dictionary({{7, 1}, {"k", 2}}), "-[__NSCFNumber isEqualToString:]"},
          {"text", "-[__NSCFString countByEnumeratingWithState:objects:count:]"}}) {
      EXPECT_THAT(test::raised([&, &odd = searched] { static_cast<void>(messaging.findValueForKey("k", &odd)); }),
                  testing::HasSubstr(expected));
    }
  });
}

TEST(ActionButton, isNoneWithoutAnIdentifier) {
  test::MessagingPhone phone;
  const Value buttons = json(R"([{"action":"open"}])");
  phone.run([&] { EXPECT_EQ(PLMessaging::shared().getActionButtonById(nullptr, &buttons), nullptr); });
}

TEST(BodyString, isAnObjectOrAList) {
  test::MessagingPhone phone;
  phone.run([] {
    EXPECT_EQ(PLMessaging::shared().parseBodyString("[1,2]"), json("[1,2]"));
    for (const char* body : {"not json", "7"})
      EXPECT_EQ(PLMessaging::shared().parseBodyString(body), std::nullopt) << body;
  });
}

}  // namespace

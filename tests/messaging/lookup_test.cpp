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
    const Value odd = Value::dictionary({{7, 1}, {"k", 2}});
    EXPECT_THAT(test::raised([&] { static_cast<void>(messaging.findValueForKey("k", &odd)); }),
                testing::HasSubstr("-[__NSCFNumber isEqualToString:]"));
  });
}

TEST(ActionButton, isNoneWithoutAnIdentifier) {
  test::MessagingPhone phone;
  const Value buttons = json(R"([{"action":"open"}])");
  phone.run([&] { EXPECT_EQ(PLMessaging::shared().getActionButtonById(nullptr, &buttons), nullptr); });
}

TEST(BodyString, isDecodedOrLoggedAsAnError) {
  test::MessagingPhone phone;
  const std::string error = "Error parsing push notification JSON payload: The data couldn\u2019t be read because";
  for (const auto& [body, log] : {std::pair<std::string, std::string>{"not json", error},
                                  {"7", error},
                                  {"[1,2]", "Push notification JSON payload (\n    1,\n    2\n)"}}) {
    phone.run([&, text = body] { static_cast<void>(PLMessaging::shared().parseBodyString(text)); });
    EXPECT_THAT(phone.takeLog(), testing::ElementsAre(testing::StartsWith(log)));
  }
}

}  // namespace

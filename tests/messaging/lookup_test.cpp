#include <gmock/gmock.h>

#include "tests/messaging/messaging_phone.h"
#include "tests/support/cases.h"
#include "tests/support/raised.h"

namespace {

using platform::Value;
using test::json;

TEST(DeepSearch, isPreOrderAndSkipsListsInsideLists) {
  test::MessagingPhone phone;
  phone.run([&] {
    const PLMessaging& messaging = PLMessaging::shared();
    for (const Value& row : test::caseRows("messaging/cases/searches.json")) {
      const Value* const found = messaging.findValueForKey(test::textAt(row, "key"), &test::at(row, "tree"));
      const Value* const expected = row.find("finds");
      EXPECT_EQ(found != nullptr ? std::optional(*found) : std::nullopt,
                expected != nullptr ? std::optional(*expected) : std::nullopt)
          << row.description();
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

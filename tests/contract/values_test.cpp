// Values as objects and back, texts, URLs, the shared store.

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

#include "platform/json_serialization.h"
#include "platform/object_messages.h"
#include "platform/text.h"
#include "platform/url.h"
#include "platform/user_defaults.h"
#include "tests/contract/contract.h"
#include "tests/support/bytes.h"
#include "tests/support/runtime_objects.h"

namespace {

using namespace test;
using platform::Value;
using testing::HasSubstr;

class Values : public Contract {
 protected:
  const platform::AutoreleasePool pool;
};

const Value trees[] = {
    Value(),
    true,
    false,
    0,
    -1,
    INT64_MIN,
    UINT64_MAX,
    (std::int64_t{1} << 53) + 1,
    0.1,
    3.0,
    "",
    "\u00e4\U0001F916",
    std::string_view("a\0b", 3),
    "\uFEFF",
    "\uFEFF\uFEFFx\uFEFF",
    std::string(300, 'x') + "\u00e4\U0001F916\uFFFD",
    Value::bytes(std::string_view("\0\xff", 2)),
    Value::list({}),
    Value::list(std::vector<Value>(33, 7)),
    Value::dictionary(
        {{"a", Value::list({1, Value(), "x", true})}, {"b", Value::dictionary({})}, {"", 0.5}, {"\uFEFFk", 1}}),
};

TEST_F(Values, SurviveAsObjects) {
  for (const Value& each : trees) {
    const auto back = platform::unboxed(platform::boxed(each));
    ASSERT_TRUE(back) << each.description();
    EXPECT_EQ(*back, each) << each.description();
    EXPECT_EQ(back->kind(), each.kind()) << each.description();
  }
}

TEST_F(Values, AreReadOnlyIfTheyMayHaveTheKey) {
  const Value found = Value::dictionary({{"a", 1}, {"key", 2}});
  Value deep = found;
  for (int i = 0; i < 100; ++i) deep = Value::dictionary({{"a", Value::list({"key", deep})}});
  for (const Value& each : {found, Value::dictionary({{"b", found}}), deep, Value("text"), Value::list({1}),
                            Value::dictionary({{"l", Value::list({Value::list({found})})}}),
                            Value::dictionary({{7, "no text for a key"}})}) {
    EXPECT_EQ(platform::unboxedIfItHasKey(platform::boxed(each), "key"), each) << each.description();
  }
  EXPECT_EQ(platform::unboxedIfItHasKey(nullptr, "key"), std::nullopt);
  const Value other = Value::dictionary({{"a", Value::list({"key", Value::dictionary({{"ke", 1}})})}});
  EXPECT_EQ(platform::unboxedIfItHasKey(platform::boxed(other), "key").value_or(other), other);
  EXPECT_EQ(platform::unboxedIfItHasKey(platform::boxed(other), "ke"), other) << "another key";
}

TEST_F(Values, AreObjectsOfThePlatformsClasses) {
  const struct {
    Value value;
    const char* className;
    std::string description;
  } cases[] = {
      {nullptr, "NSNull", "<null>"},
      {true, "NSNumber", "1"},
      {-12, "NSNumber", "-12"},
      {0.5, "NSNumber", "0.5"},
      {UINT64_MAX, "NSNumber", "18446744073709551615"},
      {"text", "NSString", "text"},
      {Value::bytes("\x01"), "NSData", ""},
      {Value::list({1}), "NSArray", ""},
      {Value::dictionary({{"a", 1}}), "NSDictionary", ""},
  };
  for (const auto& [value, className, description] : cases) {
    const id box = platform::boxed(value);
    EXPECT_TRUE(platform::isKindOfClass(box, objc_getClass(className))) << className;
    EXPECT_TRUE(platform::isKindOfClass(box, objc_getClass("NSObject"))) << className;
    if (!description.empty()) EXPECT_EQ(describe(box), description);
  }
}

TEST_F(Values, AsObjectsAreComparedByValue) {
  const auto equal = [](const Value& left, const Value& right) {
    const id box = platform::boxed(left);
    const id other = platform::boxed(right);
    const bool isEqual = platform::send<bool(id)>(box, sel("isEqual:"), other);
    const SEL hash = sel("hash");
    if (isEqual) EXPECT_EQ(platform::send<std::uint64_t()>(box, hash), platform::send<std::uint64_t()>(other, hash));
    return isEqual;
  };
  EXPECT_TRUE(equal(12, 12.0));
  EXPECT_TRUE(equal(true, 1));
  EXPECT_FALSE(equal(12, "12"));
  EXPECT_TRUE(equal(Value::list({1, "x"}), Value::list({1, "x"})));
  EXPECT_TRUE(equal(Value::dictionary({{"a", 1}, {"b", 2}}), Value::dictionary({{"b", 2}, {"a", 1}})));
  EXPECT_FALSE(equal(Value(), 0));
}

TEST_F(Values, HoldOtherObjectsThemselves) {
  const platform::Strong object = makeInstance(makeClass("ContractPlain"));
  EXPECT_EQ(platform::boxed(Value::object(object.get())), object.get());
  EXPECT_EQ(platform::unboxed(object.get())->ifObject(), object.get());
  const Value tree = Value::list({Value::object(object.get()), 1});
  EXPECT_EQ(platform::unboxed(platform::boxed(tree))->elements()[0].ifObject(), object.get());
  EXPECT_EQ(platform::boxed(Value()), platform::boxed(Value())) << "there is one null object";
  EXPECT_EQ(platform::unboxed(nullptr), std::nullopt);
  EXPECT_EQ(platform::boxed(static_cast<const Value*>(nullptr)), nullptr);
}

TEST_F(Values, OfAnotherKindRaiseAsObjectsDo) {
  EXPECT_THAT(raised([] { Value(7).asString("lowercaseString"); }),
              HasSubstr("NSInvalidArgumentException: -[__NSCFNumber lowercaseString]: unrecognized selector"));
  EXPECT_THAT(raised([] { platform::send<id()>(platform::boxed(Value(7)), sel("lowercaseString")); }),
              testing::AllOf(HasSubstr("NSInvalidArgumentException: -["), HasSubstr("unrecognized selector")));
}

TEST_F(Values, AreFormattedAsThePlatformPrintsThem) {
  const platform::Strong object = makeInstance(makeClass("ContractPlain"));
  const Value tree = Value::dictionary({{"list", Value::list({1, "a b"})}, {"flag", true}});
  EXPECT_EQ(platform::format("%@ %@ %ld %@", {nullptr, tree, 5, object.get()}),
            "(null) {\n    flag = 1;\n    list =     (\n        1,\n        \"a b\"\n    );\n} 5 " +
                platform::format("<ContractPlain: %p>", {object.get()}));
}

TEST_F(Values, OfJSONKeepEveryDigitAndEndWithTheText) {
  const auto decoded = [](std::string_view text) {
    return platform::JSONSerialization::JSONObjectWithData(bytesOf(text), nullptr);
  };
  EXPECT_EQ(decoded(R"([9007199254740993, true, null, "\u00e4"])"),
            Value::list({(std::int64_t{1} << 53) + 1, true, nullptr, "\u00e4"}));
  for (const char* wrong : {"[1] x", "7", "[01]", R"(["\ud800"])", ""})
    EXPECT_EQ(decoded(wrong), std::nullopt) << wrong;
}

using URLs = Values;
TEST_F(URLs, KeepTheirText) {
  const std::pair<const char*, const char*> cases[] = {
      {"https://a.example?x=1", "https://a.example?x=1"},
      {"HTTPS://A.example", "HTTPS://A.example"},
      {"own:page", "own:page"},
      {"https://a.example/a b", "https://a.example/a%20b"},
  };
  for (const auto& [text, kept] : cases) {
    const auto url = platform::URL::URLWithString(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), kept);
  }
  EXPECT_FALSE(platform::URL::URLWithString(""));
  EXPECT_FALSE(platform::URL::URLWithString("https://a.example:port"));
}

class Defaults : public Values {
 protected:
  static std::shared_ptr<platform::UserDefaults> suite(const char* name = "group.contract") {
    return platform::UserDefaults::initWithSuiteName(name);
  }
};

TEST_F(Defaults, KeepPropertyListValues) {
  for (const Value& value : {Value(0), Value(-7), Value(INT64_MAX), Value(1.5), Value(true), Value(""), Value("\u00e4"),
                             Value::bytes("\x01\xFF"), Value::list({1, Value::dictionary({{"k", false}})})}) {
    suite()->setObject(value, "key");
    const auto stored = suite()->objectForKey("key");
    ASSERT_TRUE(stored) << value.description();
    EXPECT_EQ(*stored, value);
    EXPECT_EQ(stored->kind(), value.kind()) << value.description();
  }
}

TEST_F(Defaults, RefuseWhatNoPropertyListHolds) {
  suite()->setObject("before", "refused");
  const platform::Strong object = makeInstance(makeClass("ContractPlain"));
  for (const Value& value : {Value(), Value::list({1, nullptr}), Value::dictionary({{"k", nullptr}}),
                             Value::dictionary({{7, "odd key"}}), Value::list({Value::object(object.get())})}) {
    EXPECT_THAT(raised([&] { suite()->setObject(value, "refused"); }),
                HasSubstr("NSInvalidArgumentException: Attempt to insert non-property list object"));
  }
  EXPECT_EQ(suite()->objectForKey("refused"), Value("before"));
}

TEST_F(Defaults, AreSeparateForEachSuiteAndAbsentAtFirst) {
  EXPECT_EQ(suite("group.never")->objectForKey("key"), std::nullopt);
  const char* const names[] = {"group.one", "../escape", "/etc/x", ".hidden", "a/b", "a%2Fb"};
  for (const char* name : names) suite(name)->setObject(name, "key");
  for (const char* name : names) EXPECT_EQ(suite(name)->objectForKey("key"), Value(name));
  suite()->synchronize();
}

}  // namespace

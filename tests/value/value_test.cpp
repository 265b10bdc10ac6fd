#include "platform/value.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <thread>

#include "platform/class_face.h"
#include "tests/support/cases.h"
#include "tests/support/raised.h"
#include "tests/support/test_process.h"
#include "value/value_storage.h"

namespace {

using platform::Value;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan = std::nan("");
constexpr auto least = std::numeric_limits<std::int64_t>::min();
constexpr auto greatest = std::numeric_limits<std::int64_t>::max();
constexpr auto greatestUnsigned = std::numeric_limits<std::uint64_t>::max();

TEST(Value, EqualsByValueAcrossKindsOfNumbersAndHashesAlike) {
  const auto bytes = [](const char* text) { return Value::bytes(text); };
  const auto list = [](std::initializer_list<Value> elements) { return Value::list(elements); };
  const auto dictionary = [](std::initializer_list<Value::Entry> entries) { return Value::dictionary(entries); };
  constexpr std::int64_t exact = std::int64_t{1} << 53;
  std::vector<std::vector<Value>> groups;  // equal within each, different between them
  const auto add = [&](std::initializer_list<std::vector<Value>> more) { groups.insert(groups.end(), more); };
  add({{0, false, -0.0}, {1, true}, {12, 12.0}, {0.5}, {-1}, {infinity, infinity}, {nullptr, nullptr}});
  add({{exact, 0x1p53}, {exact + 1}, {greatest}, {std::uint64_t{1} << 63, 0x1p63}, {greatestUnsigned}, {0x1p64}});
  add({{least, -0x1p63}, {"a", std::string("a")}, {"12"}, {"1"}, {""}, {bytes("a"), bytes("a")}, {bytes("")}});
  add({{list({1, 2}), list({1.0, 2})}, {list({2, 1})}, {list({})}, {list({1})}, {list({1, 1})}});
  add({{dictionary({{"a", 1}, {"b", 2}}), dictionary({{"b", 2.0}, {"a", true}})}, {dictionary({})}});
  add({{dictionary({{1, "x"}}), dictionary({{1.0, "x"}})}, {dictionary({{"a", 1}})}, {dictionary({{"b", 1}})}});
  add({{list({list({1, list({})})})}, {list({list({1, dictionary({})})})}});
  for (const auto& group : groups) {
    for (const Value& left : group) {
      for (const Value& right : group) EXPECT_EQ(left.hash(), right.hash()) << left.description();
      for (const auto& other : groups) {
        for (const Value& right : other) EXPECT_EQ(left == right, &group == &other) << left.description();
      }
      EXPECT_NE(left, nan);
    }
  }
  EXPECT_NE(Value(nan), Value(nan));
}

TEST(Value, ReadsAnInteger) {
  const std::pair<std::int64_t, std::vector<Value>> cases[] = {
      {0, {"+-5", "- 5", "0x10", "", "   ", "one", "\xFF", "٣", nan}},
      {1, {true, 1.9, "1"}},
      {-1, {-1.9, greatestUnsigned}},
      {5, {"+5"}},
      {-7, {" \t\n\u00a0\u3000-7 and more"}},
      {12, {"12.9"}},
      {greatest, {"9223372036854775807", "9223372036854775808", "99999999999999999999999", infinity}},
      {least, {"-9223372036854775808", "-9223372036854775809", -infinity}},
  };
  for (const auto& [integer, values] : cases) {
    for (const Value& value : values) EXPECT_EQ(value.integerValue(), integer) << value.description();
  }
}

TEST(Value, PrintsAtTopLevel) {
  std::string thirtyTwo;
  for (char byte = 0; byte != 32; ++byte) thirtyTwo += byte;
  const std::pair<Value, std::string_view> numbers[] = {
      {true, "1"},        {-5, "-5"},           {0.1, "0.1"},        {3.0, "3"},
      {-0.0, "-0"},       {100000.0, "100000"}, {1e17, "1e+17"},     {0.0001, "0.0001"},
      {0.00001, "1e-05"}, {-nan, "nan"},        {-infinity, "-inf"}, {1e16, "10000000000000000"},
  };
  for (const auto& [number, text] : numbers) EXPECT_EQ(number.description(), text);
  const std::pair<Value, std::string_view> cases[] = {
      {greatestUnsigned, "18446744073709551615"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
      {0.1 + 0.2, "0.30000000000000004"},
      {"as it is\n\"é\"", "as it is\n\"é\""},
      {nullptr, "<null>"},
      {Value::bytes(std::string_view("\x0a\xff\0", 3)), "{length = 3, bytes = 0x0aff00}"},
      {Value::bytes(""), "{length = 0, bytes = 0x}"},
      {Value::bytes(std::string_view(thirtyTwo).substr(0, 24)),
       "{length = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"},
      {Value::bytes(thirtyTwo), "{length = 32, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 18191a1b 1c1d1e1f }"},
      {Value::dictionary({}), "{\n}"},
      {Value::list({}), "(\n)"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(value.description(), text);
}

TEST(Value, PrintsContainersAsThePlatformLaysThemOut) {
  const Value value = Value::dictionary({
      {"n", Value::list({-3, 1.5, 3.0, true, nullptr, Value::bytes(std::string_view("\0", 1)), ""})},
      {"aps", Value::dictionary({{"alert", "Grüße 😀"}, {"a b", "say \"\\\n"}, {"none", Value::dictionary({})}})},
      {7, "bare7"},
      {"b", Value::list({Value::list({"x"}), Value::list({})})},
  });
  EXPECT_EQ(value.description() + "\n", test::caseText("value/cases/description.txt"));
}

TEST(Value, RepeatedKeyKeepsItsFirstPlaceAndItsLastValueAndEveryKeyIsFound) {
  for (const int count : {2, 8, 9, 10, 1000, 100'000}) {
    SCOPED_TRACE(count);
    std::vector<Value::Entry> entries;
    for (int i = 0; i != 2 * count; ++i) entries.push_back({"key" + std::to_string(i % count), std::to_string(i)});
    const Value value = Value::dictionary(entries);
    ASSERT_EQ(value.entries().size(), static_cast<std::size_t>(count));
    for (int i = 0; i != count; ++i) {
      const std::string key = "key" + std::to_string(i);
      EXPECT_EQ(value.entries()[static_cast<std::size_t>(i)].key, key);
      ASSERT_NE(value.find(key), nullptr);
      EXPECT_EQ(value.find(key)->text(), std::to_string(count + i));
    }
    EXPECT_EQ(value.find("another"), nullptr);
  }
  EXPECT_EQ(Value(1).find("key"), nullptr);
  EXPECT_EQ(Value::dictionary({{1, 2}}).find("1"), nullptr);
}

TEST(Value, NestedAHundredThousandLevelsDeepCanBeComparedHashedPrintedAndFreed) {
  const auto nest = [](bool inDictionaries) {
    Value value = "innermost";
    for (int i = 0; i != 100'000; ++i) {
      value = inDictionaries ? Value::dictionary({{"in", value}}) : Value::list({value, 1});
    }
    return value;
  };
  for (const bool inDictionaries : {false, true}) {
    const Value value = nest(inDictionaries);
    const Value same = nest(inDictionaries);
    EXPECT_TRUE(value == same);
    EXPECT_EQ(value.hash(), same.hash());
    EXPECT_THAT(value.description(), testing::HasSubstr("innermost"));
  }
}

TEST(Value, CopiesMovesAndSwapsShareOneText) {
  Value value = std::string(100, 'x');
  const char* text = value.text().data();
  const Value copy = value;
  Value moved = std::move(value);
  EXPECT_TRUE(value.isNull());  // NOLINT(bugprone-use-after-move): its documented state
  swap(moved, value);
  EXPECT_EQ(value.text().data(), text);
  EXPECT_EQ(copy.text().data(), text);
  EXPECT_TRUE(moved.isNull());
}

TEST(Value, PartOfADocumentKeepsTheDocument) {
  Value part;
  {
    Value root;
    platform::DocumentBuilder builder(16);  // far too small: more blocks follow
    Value::Entry* entries = builder.dictionary(root, 3000);
    for (int i = 0; i != 3000; ++i) {
      builder.text(entries[i].key, "key" + std::to_string(i / 2));
      builder.text(builder.list(entries[i].value, 1)[0], std::to_string(i));
    }
    platform::DocumentBuilder::endDictionary(root);
    EXPECT_EQ(root.entries().size(), 1500U);
    part = *root.find("key700");
  }
  EXPECT_EQ(part, Value::list({"1401"}));
  const Value list = Value::list({part, part});
  part = nullptr;
  EXPECT_EQ(list.elements()[1].elements()[0].text(), "1401");
}

TEST(Value, PartsOfADocumentMayBeSharedAndKeysKnownToDiffer) {
  Value copy;
  {
    Value root;
    platform::DocumentBuilder builder(16);
    Value::Entry* entries = builder.dictionary(root, 20);
    for (int i = 0; i != 20; ++i) builder.text(entries[i].key, std::to_string(i));
    platform::DocumentBuilder::endKeys(root);
    builder.bytes(builder.list(entries[0].value, 1)[0], "b");
    platform::DocumentBuilder::share(entries[19].value, entries[0].value);
    copy = *root.find("19");
    EXPECT_EQ(root.find("20"), nullptr);
  }
  EXPECT_EQ(copy, Value::list({Value::bytes("b")}));
}

TEST(Value, CountsReferencesFromSeveralThreads) {
  const Value value = Value::list({std::string(50, 'a'), Value::dictionary({{"k", "v"}})});
  std::vector<std::jthread> threads;
  for (int i = 0; i != 4; ++i) {
    threads.emplace_back([copy = value] {
      for (int round = 0; round != 10'000; ++round) {
        const Value again = copy;
        const Value element = again.elements()[1];
        ASSERT_EQ(element.find("k")->text(), "v");
      }
    });
  }
}

TEST(Value, WrongKindRaisesLikeAMessageToTheWrongObject) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { Value(1).asString("length"); }, "-[__NSCFNumber length]: unrecognized selector sent to instance 0x"},
      {[] { Value(true).asBytes("bytes"); }, "-[__NSCFBoolean bytes]: unrecognized"},
      {[] { Value::bytes("a").asList("count"); }, "-[_NSInlineData count]: unrecognized"},
      {[] { Value::list({}).asDictionary("allKeys"); }, "-[__NSArrayI allKeys]: unrecognized"},
      {[] { static_cast<void>(Value::dictionary({}).integerValue()); }, "-[__NSDictionaryI integerValue]: unrecog"},
      {[] { static_cast<void>(Value().integerValue()); }, "-[NSNull integerValue]: unrecognized"},
      {[] { static_cast<void>(Value::bytes("1").integerValue()); }, "-[_NSInlineData integerValue]: unrecognized"},
      {[] {
         Value::dictionary({{Value::list({}), 1}});
       },
       "a dictionary's key cannot be a container (__NSArrayI)"},
  };
  for (const auto& [work, reason] : cases) EXPECT_THAT(test::raised(work), testing::HasSubstr(reason));
}

class Point {
 public:
  static constexpr const char* className = "Point";
  static void defineClass(platform::ClassFace<Point>& face) {
    face.method<&Point::isEqual>("isEqual:").method<&Point::hash>("hash").method<&Point::description>("description");
  }
  explicit Point(int x) : x_(x) {}
  bool isEqual(id other) { return platform::objectState<Point>(other).x_ == x_; }
  std::uint64_t hash() { return static_cast<std::uint64_t>(x_); }
  id description() { return platform::boxed(Value("x is " + std::to_string(x_))); }

 private:
  int x_;
};

TEST(Value, ObjectComparesHashesAndPrintsByItsOwnMethods) {
  const test::TestProcess process;
  const auto point = [](int x) { return Value::object(platform::makeObject<Point>(x).get()); };
  EXPECT_EQ(point(1), point(1));
  EXPECT_NE(point(1), point(2));
  EXPECT_NE(point(1), 1);
  EXPECT_EQ(point(1).hash(), point(1).hash());
  EXPECT_EQ(point(3).description(), "x is 3");
  EXPECT_EQ(Value::list({point(3)}).description(), "(\n    \"x is 3\"\n)");
  EXPECT_STREQ(point(3).className(), "Point");
}

}  // namespace

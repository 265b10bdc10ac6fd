#include "platform/json_serialization.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <utility>

#include "tests/support/cases.h"
#include "tests/support/raised.h"

namespace {

using namespace std::string_literals;
using platform::Error;
using platform::Value;
using platform::JSONSerialization::dataWithJSONObject;
using platform::JSONSerialization::JSONObjectWithData;

std::optional<Value> decode(std::string_view text, Error* error = nullptr) {
  return JSONObjectWithData({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, error);
}

std::string encode(const Value& value) {
  const Value data = dataWithJSONObject(value);
  return {reinterpret_cast<const char*>(data.bytes().data()), data.bytes().size()};
}

std::string repeated(std::string_view part, int count) {
  std::string text;
  while (count-- > 0) text += part;
  return text;
}

std::string nested(int levels) { return repeated("[", levels) + "1" + repeated("]", levels); }

/// `text` (ASCII) in an encoding of `width` bytes a character.
std::string widened(std::string_view text, int width, bool isBigEndian) {
  std::string result;
  for (const char character : text) {
    const std::string zeros(static_cast<std::size_t>(width - 1), '\0');
    result += isBigEndian ? zeros + character : character + zeros;
  }
  return result;
}

TEST(JSONDecoding, ReadsEveryKind) {
  const std::pair<std::string, Value> cases[] = {
      {"{}", Value::dictionary({})},
      {" \t\r\n[ ] \n", Value::list({})},
      {R"({"a":null,"b":[true,false,"",{}]})",
       Value::dictionary({{"a", nullptr}, {"b", Value::list({true, false, "", Value::dictionary({})})}})},
      {R"(["\u00e9\ud83d\ude00\u0000\/\b\f\n\r\t\"\\"])", Value::list({std::string("é😀\0/\b\f\n\r\t\"\\", 6 + 9)})},
      {R"({"a":1,"b":2,"a":3})", Value::dictionary({{"a", 3}, {"b", 2}})},
      {"[-9223372036854775808,9223372036854775807,18446744073709551615]",
       Value::list({std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(),
                    std::numeric_limits<std::uint64_t>::max()})},
      {R"([18446744073709551616,-9223372036854775809,1e2,"\"18446744073709551616",1.5,123456789012345678901234567890])",
       Value::list({0x1p64, -0x1p63, 100.0, "\"18446744073709551616", 1.5, 123456789012345678901234567890.0})},
      {"[1e-400,1.7976931348623157e308,0e99999]", Value::list({0, 1.7976931348623157e308, 0})},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(decode(text), value) << text;
}

TEST(JSONDecoding, DistinguishesKindsOfNumbers) {
  using enum Value::Kind;
  const std::pair<std::string, Value::Kind> cases[] = {
      {"1", integer},    {"1.0", floating},
      {"true", boolean}, {"9223372036854775808", integer},
      {"-0", integer},   {"18446744073709551616", floating},
  };
  for (const auto& [number, kind] : cases) EXPECT_EQ(decode("[" + number + "]")->elements()[0].kind(), kind) << number;
  EXPECT_TRUE(decode("[9223372036854775808]")->elements()[0].isUnsigned());
  EXPECT_FALSE(decode("[1]")->elements()[0].isUnsigned());
}

TEST(JSONDecoding, RecognisesUnicodeEncodingsWithAndWithoutByteOrderMark) {
  const std::string text = R"({"a":"b"})";
  const std::pair<std::string, std::string> cases[] = {
      {"\xEF\xBB\xBF", text},
      {"\xFF\xFE", widened(text, 2, false)},
      {"\xFE\xFF", widened(text, 2, true)},
      {"\xFF\xFE\0\0"s, widened(text, 4, false)},
      {"\0\0\xFE\xFF"s, widened(text, 4, true)},
  };
  for (const auto& [mark, data] : cases) {
    EXPECT_EQ(decode(data), Value::dictionary({{"a", "b"}})) << testing::PrintToString(data);
    EXPECT_EQ(decode(mark + data), Value::dictionary({{"a", "b"}})) << testing::PrintToString(mark + data);
  }
  EXPECT_EQ(decode("[\0\"\0\x3D\xD8\0\xDE\"\0]\0"s), Value::list({"😀"}));
  EXPECT_EQ(decode(widened(nested(512), 2, true)), decode(nested(512)));
}

TEST(JSONDecoding, RejectsTextThatIsNotJSON) {
  std::vector<std::string> cases{"[]\0"s, "[\0\"\0\x3D\xD8\"\0]\0"s,
                                 "[\0]\0\0"s};  // UTF-16 with half a pair, half a unit
  const auto add = [&](std::string_view texts) {
    for (std::string& text : test::parts(texts, '|')) cases.push_back(std::move(text));
  };
  add(R"(|  |1|"text"|null|[|[1|[1,]|[1 2]|{"a"}|{"a":}|{1:2}|{'a':1}|[tru]|[] x|[]]|[][]|["unclosed)");
  add("[01]|[+1]|[1.]|[.5]|[1e]|[-]|[0x1]|[NaN]|[Infinity]|[1e400]|[-1e400]|[99999999999999999999-1]");
  add(R"(["\ud800"]|["\udc00"]|["\ud800x"]|["\ud800\u0041"]|["\ude00\ud83d"]|{"\ud800":1}|["\x"]|["\u12"])");
  add("\xEF\xBB\xBF|\xFF\xFE|[\v]|// comment\n[]|[\"a\nb\"]|[\"\xFF\"]|[\"\xC0\x80\"]|[\"\xED\xA0\x80\"]");
  add("[18446744073709551616,\"\\|[" + repeated("9", 400) + "]|" + repeated("[", 1'000'000));
  add(nested(513) + '|' + repeated("[", 513) + repeated("]", 513));
  add(repeated("{\"a\":", 513) + "1" + repeated("}", 513) + '|' + widened("[", 4, true) + "\xFF\xFF\xFF\xFF");
  for (const std::string& text : cases) {
    Error error;
    EXPECT_FALSE(decode(text, &error)) << testing::PrintToString(text.substr(0, 60));
    EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
    EXPECT_EQ(error.code, 3840);
    EXPECT_EQ(error.localizedDescription, "The data couldn’t be read because it isn’t in the correct format.");
    EXPECT_NE(error.userInfo.find("NSDebugDescription"), nullptr);
  }
  EXPECT_TRUE(decode(nested(512)));
}

TEST(JSONEncoding, WritesCompactTextWithThePlatformsEscapes) {
  const std::pair<Value, std::string_view> cases[] = {
      {Value::dictionary({}), "{}"},
      {Value::list({Value::list({}), Value::dictionary({{"b", Value::list({1, 2})}, {"a", nullptr}})}),
       R"([[],{"b":[1,2],"a":null}])"},
      {Value::list({true, false, -1, std::numeric_limits<std::uint64_t>::max()}),
       "[true,false,-1,18446744073709551615]"},
      {Value::list({0.1, 3.0, 1e20, -0.0, 100000.0, 5e-324}), "[0.1,3,1e+20,-0,100000,5e-324]"},
      {Value::list({"a/b\b\f\n\r\t\"\\"}), R"(["a\/b\b\f\n\r\t\"\\"])"},
      {Value::list({"\x01\x1f\x7f"}), "[\"\\u0001\\u001f\x7f\"]"},
      {Value::list({std::string("a\0b", 3)}), R"(["a\u0000b"])"},
      {Value::list({"é😀\u2028"}), "[\"é😀\u2028\"]"},
      {Value::list({"broken \xFF\xC3", "whole é"}), "[\"broken \uFFFD\uFFFD\",\"whole é\"]"},
      {Value::dictionary({{"k\n/", ""}}), R"({"k\n\/":""})"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(encode(value), text);
}

TEST(JSONEncoding, RaisesForValuesThatJSONCannotContain) {
  const std::pair<Value, std::string_view> cases[] = {
      {"text", "Invalid top-level type in JSON write"},
      {nullptr, "Invalid top-level type in JSON write"},
      {Value::bytes("a"), "Invalid top-level type in JSON write"},
      {Value::list({Value::bytes("a")}), "Invalid type in JSON write (_NSInlineData)"},
      {Value::list({std::nan("")}), "Invalid number value (NaN) in JSON write"},
      {Value::dictionary({{"a", HUGE_VAL}}), "Invalid number value (infinite) in JSON write"},
      {Value::list({-HUGE_VAL}), "Invalid number value (infinite) in JSON write"},
      {Value::list({Value::dictionary({{1, "a"}})}), "Invalid (non-string) key in JSON dictionary"},
  };
  for (const auto& [value, reason] : cases) {
    EXPECT_EQ(test::raised([&, &unencodable = value] { dataWithJSONObject(unencodable); }),
              "NSInvalidArgumentException: " + std::string(reason));
  }
}

TEST(JSONEncoding, NestedAHundredThousandLevelsDeepIsWritten) {
  Value value = 1;
  for (int i = 0; i != 100'000; ++i) value = Value::list({value});
  EXPECT_EQ(encode(value), nested(100'000));
}

}  // namespace

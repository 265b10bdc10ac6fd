#include "platform/text.h"

#include <gmock/gmock.h>

namespace {

using platform::Error;
using platform::Exception;
using platform::format;
using platform::FormatArgument;
using platform::Value;

TEST(Format, PrintsEveryConversion) {
  const Value list = Value::list({1});
  const Error error{"D", -1, "why"};
  const Error informed{"D", -1004, "why", Value::dictionary({{"_kCFStreamErrorCodeKey", 61}, {"URL", "http://h/"}})};
  const Exception exception("N", "reason");
  const std::optional<std::string> absent;
  const auto object = reinterpret_cast<id>(std::uintptr_t{0xAB0});
  const struct {
    std::string_view format;
    std::initializer_list<FormatArgument> arguments;
    std::string_view text;
  } cases[] = {
      {"plain 100%%", {}, "plain 100%"},
      {"%@, %@ and %@", {"%@", std::string_view("%d"), 5}, "%@, %d and 5"},
      {"%@ %@ %@", {nullptr, absent, static_cast<const Value*>(nullptr)}, "(null) (null) (null)"},
      {"%@ %@ %@", {list, &list, std::optional<Value>()}, "(\n    1\n) (\n    1\n) (null)"},
      {"%@", {informed}, "Error Domain=D Code=-1004 \"why\" UserInfo={_kCFStreamErrorCodeKey=61, URL=http://h/}"},
      {"%@; %@", {error, exception}, "Error Domain=D Code=-1 \"why\"; reason"},
      {"%i %d %ld", {-1, std::int64_t{1} << 32, std::int64_t{1} << 32}, "-1 0 4294967296"},
      {"%u %lu", {-1, -1}, "4294967295 18446744073709551615"},
      {"%02x%02x%02x", {0, 0xA, 0x1FF}, "000a1ff"},
      {"%p %p", {object, nullptr}, "0xab0 0x0"},
  };
  for (const auto& [text, arguments, expected] : cases) EXPECT_EQ(format(text, arguments), expected);
}

TEST(FormatDeathTest, MistakeInTheProgramEndsIt) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH(format("%@ %@", {1}), "the format \"%@ %@\" has too few arguments");
  EXPECT_DEATH(format("%@", {1, 2}), "too many arguments");
  EXPECT_DEATH(format("%f", {1}), "an unknown conversion");
  EXPECT_DEATH(format("%d", {"1"}), "an argument that is not an integer");
  EXPECT_DEATH(format("100%", {}), "an unknown conversion");
}

TEST(LowercaseString, MapsAllOfUnicodeWithoutALocale) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},           {"aZ09[", "az09["},   {"ÄÖÜ ẞ", "äöü ß"}, {"ΟΔΟΣ ΣΑΣ", "οδος σας"},
      {"İI", "i\u0307i"}, {"ȺȾȺȾȺȾ", "ⱥⱦⱥⱦⱥⱦ"}, {"𐐀", "𐐨"},         {"Ǆ", "ǆ"},
  };
  for (const auto& [text, lower] : cases) EXPECT_EQ(platform::lowercaseString(text), lower);
}

TEST(StringFromASCIIData, IsNothingAboveSevenBits) {
  const std::uint8_t bytes[] = {'a', 0, 0x7F, 0x80};
  EXPECT_EQ(platform::stringFromASCIIData(platform::ByteView(bytes, 3)), std::string_view("a\0\x7F", 3));
  EXPECT_EQ(platform::stringFromASCIIData(platform::ByteView(bytes, 4)), std::nullopt);
  EXPECT_EQ(platform::stringFromASCIIData({}), std::string_view());
}

}  // namespace

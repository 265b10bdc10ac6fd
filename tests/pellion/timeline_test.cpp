#include "pellion/timeline/timeline.h"

#include <gmock/gmock.h>

#include <sstream>

#include "pellion/text/json_writer.h"
#include "pellion/timeline/trace.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using platform::Value;
using std::chrono::milliseconds;

std::string shown(const std::vector<host::Event>& events, Timeline::Options options = {}) {
  std::ostringstream out;
  Timeline timeline(out, options);
  for (const host::Event& event : events) timeline(event);
  return out.str();
}

TEST(Timeline, PrintsTheExpectedTextForEachEvent) {
  const std::pair<std::string, Timeline::Options> cases[] = {
      {"story", {}},
      {"events", {}},
      {"requests", {.abridges = true}},
  };
  for (const auto& [name, options] : cases) {
    const std::vector<Value> rows = test::caseRows("pellion/cases/timeline/" + name + ".json");
    std::vector<host::Event> events;
    for (const Value& row : rows) {
      const Value* const time = row.find("ms");
      events.push_back({milliseconds(time == nullptr ? 0 : time->integer()), test::at(row, "actor").text(),
                        test::at(row, "what").text(), test::at(row, "details")});
    }
    EXPECT_EQ(shown(events, options), test::caseText("pellion/cases/timeline/" + name + ".txt")) << name;
  }
}

TEST(Timeline, ShowsBytesInHexadecimalAndTruncatesALongText) {
  const Value bytes = Value::dictionary({{"key", "k"}, {"data", Value::bytes("\x0a\xff")}});
  EXPECT_THAT(shown({{{}, "keychain", "stored", bytes}}), testing::EndsWith(" 0aff\n"));
  const std::string text = std::string(158, 'x') + "é" + std::string(100, 'x');
  const Value delivered = Value::dictionary({{"in", "a"}, {"payload", Value::dictionary({{"n", text}})}});
  EXPECT_THAT(shown({{{}, "platform", "delivered", delivered}}),
              testing::HasSubstr(std::string(158, 'x') + "… (262 bytes)\n"));
}

TEST(Timeline, EscapesControlCharacters) {
  const host::Event event{{}, "platform", "token", Value::dictionary({{"token", "a\x1b[31m\xc2\x9b\xff\r"}})};
  const std::string text = shown({event});
  EXPECT_NE(text.find("a\\u001b[31m\\u009b\uFFFD\\u000d\n"), text.npos) << text;
}

TEST(Timeline, TruncatesAVeryLongEvent) {
  const std::string body = std::string(16'000, 'x') + std::string(1'000'000, '\n');
  const std::string text = shown({{{}, "backend", "answer", Value::dictionary({{"status", 200}, {"body", body}})}});
  EXPECT_LT(text.size(), 20'000U);
  EXPECT_NE(text.find("  … 999635 more bytes\n"), text.npos);
}

TEST(Timeline, ColoursOnlyWhenAsked) {
  const host::Event event{{}, "expectation", "met", Value::dictionary({{"checked", "1 request"}})};
  EXPECT_EQ(shown({event}).find('\x1b'), std::string::npos);
  EXPECT_EQ(shown({event}, {.inColour = true}),
            "\x1b[2m    0.000\x1b[0m  \x1b[36mexpectation \x1b[0m  \x1b[32m✓ \x1b[0m1 request\n");
}

TEST(PrettyJSON, KeepsOnOneLineWhatFits) {
  const std::string long70(70, 'x');
  EXPECT_EQ(prettyJSON(Value::dictionary({{"a", Value::list({1, Value::list({})})}})), R"({"a":[1,[]]})");
  EXPECT_EQ("\n" + prettyJSON(Value::dictionary({{"a", Value::list({long70, 1})},
                                                 {"b", Value::dictionary({})},
                                                 {"c", Value::list({long70, "20 more to be long"})}})),
            R"(
{
  "a": [")" + long70 +
                R"(",1],
  "b": {},
  "c": [
    ")" + long70 +
                R"(",
    "20 more to be long"
  ]
})");
}

TEST(Trace, IsOneLineOfJSONForEachEvent) {
  EXPECT_EQ(traceLine({milliseconds(1500), "a", "w",
                       Value::dictionary({{"bytes", Value::bytes(std::string_view("\x0a\xff", 2))},
                                          {"text", "l\n\xff"},
                                          {"none", nullptr},
                                          {"large", std::uint64_t{1} << 63U},
                                          {"half", 0.5}})}),
            R"({"time":1.5,"actor":"a","what":"w","details":{"bytes":"0aff","text":"l\n�","none":null,)"
            R"("large":9223372036854775808,"half":0.5}})");
  const Value entries = Value::list({Value::dictionary({{"notificationid", 7}, {"status", 4}})});
  EXPECT_THAT(traceLine({{}, "a", "w", Value::dictionary({{"pnstats", entries}})}),
              testing::HasSubstr(R"("details":{"pnstats":[{"notificationid":7,"status":4}],)"
                                 R"("statistics":[{"notificationid":7,"status":4,"name":"delivered"}]}})"));
}

}  // namespace
}  // namespace pellion

#include "pellion/timeline.h"

#include <gmock/gmock.h>

#include <sstream>

#include "pellion/jwt_reader.h"
#include "pellion/received_request.h"
#include "pellion/trace.h"

namespace pellion {
namespace {

using platform::Value;
using std::chrono::milliseconds;

std::string shown(std::initializer_list<host::Event> events, Timeline::Options options = {}) {
  std::ostringstream out;
  Timeline timeline(out, options);
  for (const host::Event& event : events) timeline(event);
  return out.str();
}

Value statistics() {
  ReceivedRequest request{
      .number = 1,
      .method = "POST",
      .target = "/sdk/v1/p/j/channel/add?deviceid=d%201&appversionid=",
      .queryItems = {{"deviceid", "d 1"}, {"appversionid", ""}},
      .headers = {{"Host", "127.0.0.1:1"}, {"mapid", ""}, {"Authorization", "Bearer a-long-secret"}},
      .body = "…",
      .decodedBody = {}};
  request.decodedBody = DecodedBody{.steps = {{"JWT, HS256, signature verified"}, {"something broke", true}},
                                    .content = {},
                                    .json = Value::dictionary({{"pnstats", Value::list({1, "\x1b[2J"})}})};
  return request.details();
}

TEST(Timeline, ReadsAsAStory) {
  const Value token = Value::dictionary({{"token", "0aff00"}});
  const Value keychain = Value::dictionary({{"key", "k"}, {"data", Value::bytes(std::string_view("\x0a\xff", 2))}});
  const Value mismatch = Value::dictionary({{"place", "request 1, path"}, {"wanted", "/a"}, {"found", "/bc"}});
  const std::string long50(50, 'x');
  const Value wide = Value::dictionary({{"place", "log"}, {"wanted", long50}, {"found", "(absent)"}});
  const auto failure = [](Value row) {
    return Value::dictionary({{"place", "s.json:3:1"}, {"mismatches", Value::list({std::move(row)})}});
  };
  EXPECT_EQ(
      "\n" + shown({{milliseconds(0), "scenario", "begins", Value::dictionary({{"name", "N"}, {"description", "D"}})},
                    {milliseconds(0), "scenario", "says", Value::dictionary({{"text", "First"}})},
                    {milliseconds(0), "platform", "token", token},
                    {milliseconds(1500), "backend", "request", statistics()},
                    {milliseconds(1500), "module", "log", Value::dictionary({{"tag", "t"}, {"text", "unseen"}})},
                    {milliseconds(1500), "backend", "answer", Value::dictionary({{"status", 200}, {"body", "{}"}})},
                    {milliseconds(1500), "keychain", "stored", keychain},
                    {milliseconds(1500), "some", "news", Value::dictionary({{"key", Value::list({1})}})},
                    {milliseconds(2000), "expectation", "met", Value::dictionary({{"checked", "1 request"}})},
                    {milliseconds(2000), "expectation", "failed", failure(mismatch)},
                    {milliseconds(2000), "expectation", "failed", failure(wide)},
                    {milliseconds(2000), "scenario", "failed", Value::dictionary({{"name", "N"}})}}),
      R"(
N
D

First
    0.000  platform      hands over the device token
                           0aff00
    1.500  backend       POST /sdk/v1/p/j/channel/add
                           from      device d 1
                           query     deviceid       d 1
                                     appversionid
                           headers   mapid
                                     Authorization  Bearer a-lo… (13 characters)
                           transport Host: 127.0.0.1:1
                           body      ✓ JWT, HS256, signature verified
                                     ✗ something broke
                                     {
                                       "pnstats": [
                                         1,
                                         "\u001B[2J"
                                       ]
                                     }
           backend       answers 200  {}
           keychain      stores k
                           0aff
           some          news
                           key  [1]
    2.000  expectation   ✓ 1 request
           expectation   ✗ s.json:3:1
                                            wanted  found
                           request 1, path  /a      /bc
           expectation   ✗ s.json:3:1
                           log
                             wanted  xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx
                             found   (absent)

✗ N

)");
}

TEST(Timeline, ShowsControlCharactersInsteadOfObeyingThem) {
  const host::Event event{{}, "platform", "token", Value::dictionary({{"token", "a\x1b[31m\xc2\x9b\xff\r"}})};
  const std::string text = shown({event});
  EXPECT_NE(text.find("a\\u001b[31m\\u009b\uFFFD\\u000d\n"), text.npos) << text;
}

TEST(Timeline, ColoursOnlyWhenAsked) {
  const host::Event event{{}, "expectation", "met", Value::dictionary({{"checked", "1 request"}})};
  EXPECT_EQ(shown({event}).find('\x1b'), std::string::npos);
  EXPECT_EQ(shown({event}, {.inColour = true}),
            "\x1b[2m    0.000\x1b[0m  \x1b[36mexpectation \x1b[0m  \x1b[32m✓ \x1b[0m1 request\n");
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
}

}  // namespace
}  // namespace pellion

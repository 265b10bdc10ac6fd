#include "pellion/timeline.h"

#include <gmock/gmock.h>

#include <sstream>

#include "pellion/json_reader.h"
#include "pellion/json_writer.h"
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
                    {milliseconds(1500), "shared store", "synchronized", Value::dictionary({{"suite", "unseen"}})},
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
                                     {"pnstats":[1,"\u001B[2J"]}
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

TEST(Timeline, TellsOfNotificationsInOneWay) {
  const auto read = [](const char* text) { return readJSON("", text).value; };
  const struct {
    const char* actor;
    const char* what;
    const char* details;
    const char* text;
  } rows[] = {
      {"platform", "delivered",
       R"({"in": "background", "notification": "a", "payload": {"aps": {}, "addInfo": "{\"id\":1,\"goal\":\"7\"}", "n": "{"}})",
       "delivers \"a\" in the background\n<aps      {}\n<addInfo  id    1\n<         goal  \"7\"\n<n        \"{\"\n"},
      {"platform", "delivered", R"({"in": "foreground", "payload": {}})",
       "delivers a notification in the foreground\n<(an empty payload)\n"},
      {"user", "responded", R"({"with": "tap", "notification": "a"})", "taps \"a\"\n"},
      {"user", "responded", R"({"with": "dismiss", "payload": {"addInfo": {"id": 1}}})",
       "dismisses a notification\n<addInfo  {\"id\":1}\n"},
      {"user", "responded", R"({"with": "b\n", "notification": "a"})", "presses the button \"b\\n\" of \"a\"\n"},
      {"app", "handles response", R"({"with": "dismiss", "notification": "a"})",
       "hands the dismissal of \"a\" to the notification handler\n"},
      {"platform", "opened URL", R"({"url": "a:b", "calledOnMainThread": false})",
       "opens a:b  (asked on another thread than the main one)\n"},
      {"app", "called", R"({"name": "K", "callback": "token", "passesOn": true})",
       "K hears of the device token and passes it on\n"},
      {"app", "answered", R"({"name": "D", "answer": []})", "D answers to show nothing\n"},
      {"app", "rewired", R"({"name": "K", "does": "replaces", "of": "application", "callbacks": []})",
       "K replaces in the class of the application's delegate: nothing\n"},
      {"app", "sets delegate", R"({"name": null, "of": "notificationCenter"})",
       "makes nobody the notification center's delegate\n"},
      {"app", "releases", R"({"name": "D", "isGone": false})", "lets go of D, which somebody else keeps\n"},
      {"platform", "unheard", R"({"callback": "application:didRegisterForRemoteNotificationsWithDeviceToken:"})",
       "finds no delegate that hears of the device token\n"},
      {"platform", "presents", R"({"options": 18})", "shows banner, sound\n"},
      {"platform", "fetched", R"({"result": 7})", "takes the fetch result 7\n"},
      {"app", "sets badge", R"({"count": -1, "through": "notificationCenter"})",
       "sets the badge to -1 through the notification center\n"},
      {"core library", "session ended", "{}", "reports the end of a session, without a duration\n"},
      {"backend", "answer", R"({"sends": "nothing", "then": "closes", "delay": 5})",
       "sends nothing, then closes the connection after 5 ms\n"},
      {"backend", "answer", R"({"status": 204, "body": "", "headers": [], "delay": 0, "pace": 1.0, "then": "waits"})",
       "answers 204\n<but       takes 1 s for each byte, then waits\n"},
      {"backend", "answer", R"({"raw": "a\r\n\r\nb", "delay": 0, "endless": "headers"})",
       "answers raw bytes\n<a\\u000d\n<\\u000d\n<b\n<but       sends headers without end\n"},
      {"backend", "told", R"({"connection": "closed"})", "from now on, its connections are closed\n"},
      {"extension", "leaves", R"({"entries": [1]})", "leaves 1 entry for the application\n"},
      {"extension", "reads badge", R"({"badge": null})", "finds no badge\n"},
      {"shared store", "stored", R"({"key": "k", "value": []})", "stores k\n<[]\n"},
      {"shared store", "stored", R"({"key": "k", "value": [{"a": 1}, 2]})", "stores k\n<{\"a\":1}\n<2\n"},
      {"clock", "advances", R"({"seconds": 93784.5})", "moves on by 1 d 2 h 3 min 4.5 s\n"},
      {"clock", "advances", R"({"seconds": 3600})", "moves on by 1 h\n"},
      {"clock", "advances", R"({"seconds": 0})", "moves on by 0 s\n"},
  };
  const std::string indentation(27, ' ');
  for (const auto& [actor, what, details, text] : rows) {
    std::string told = shown({{{}, actor, what, read(details)}}).substr(25);
    for (std::size_t at = 0; (at = told.find("\n" + indentation, at)) != std::string::npos;) {
      told.replace(at + 1, indentation.size(), "<");
    }
    EXPECT_EQ(told, text);
  }
  const std::string longText = std::string(158, 'x') + "é" + std::string(100, 'x');
  const Value payload = Value::dictionary({{"n", longText}});
  EXPECT_NE(shown({{{}, "platform", "delivered", Value::dictionary({{"in", "a"}, {"payload", payload}})}})
                .find(std::string(158, 'x') + "… (262 bytes)\n"),
            std::string::npos);
}

TEST(Timeline, LeavesOutOfARequestWhatIsAsBefore) {
  const auto request = [](const char* path, const char* id, const Value& headers) {
    return host::Event{{},
                       "backend",
                       "request",
                       Value::dictionary({{"method", "POST"},
                                          {"path", path},
                                          {"query", Value::list({Value::list({"deviceid", id})})},
                                          {"headers", headers},
                                          {"identity", nullptr},
                                          {"body", nullptr}})};
  };
  const Value one = Value::list({Value::list({"mapid", "1"}), Value::list({"apid", "2"})});
  const Value other = Value::list({Value::list({"mapid", "1"}), Value::list({"apid", "3"})});
  const Value fewer = Value::list({Value::list({"mapid", "1"})});
  const std::string text = shown({request("/a", "d", one), request("/a", "d", one), request("/a", "e", other),
                                  request("/a", "e", fewer), request("/b", "e", fewer)},
                                 {.abridges = true});
  EXPECT_EQ("\n" + text, R"(
    0.000  backend       POST /a
                           query     deviceid  d
                           headers   mapid     1
                                     apid      2
                           body      none
           backend       POST /a
                           as before query, headers
                           body      none
           backend       POST /a
                           query     deviceid  e
                           headers   apid      3
                           as before other query, other headers
                           body      none
           backend       POST /a
                           headers   mapid  1
                           as before query
                           body      none
           backend       POST /b
                           query     deviceid  e
                           headers   mapid     1
                           body      none
)");
}

TEST(Timeline, ShowsControlCharactersInsteadOfObeyingThem) {
  const host::Event event{{}, "platform", "token", Value::dictionary({{"token", "a\x1b[31m\xc2\x9b\xff\r"}})};
  const std::string text = shown({event});
  EXPECT_NE(text.find("a\\u001b[31m\\u009b\uFFFD\\u000d\n"), text.npos) << text;
}

TEST(Timeline, CutsAnEventThatIsLongerThanAnybodyReads) {
  const std::string body = std::string(16'000, 'x') + std::string(1'000'000, '\n');
  const std::string text = shown({{{}, "backend", "answer", Value::dictionary({{"status", 200}, {"body", body}})}});
  EXPECT_LT(text.size(), 20'000U);
  EXPECT_NE(text.find("  … 999629 more bytes\n"), text.npos);
}

TEST(Timeline, ColoursOnlyWhenAsked) {
  const host::Event event{{}, "expectation", "met", Value::dictionary({{"checked", "1 request"}})};
  EXPECT_EQ(shown({event}).find('\x1b'), std::string::npos);
  EXPECT_EQ(shown({event}, {.inColour = true}),
            "\x1b[2m    0.000\x1b[0m  \x1b[36mexpectation \x1b[0m  \x1b[32m✓ \x1b[0m1 request\n");
}

TEST(PrettyJSON, KeepsOnALineWhatFitsThere) {
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
}

}  // namespace
}  // namespace pellion

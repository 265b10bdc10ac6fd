#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <ranges>

#include "pellion/scenario.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;

constexpr const char* head =
    R"({"name": "n", "configuration": {"JWT_SECRET": "s"}, "notifications": {"a": {}, "b": {}}, "steps": [)";

std::string errorOf(std::string_view text) {
  try {
    readScenario("s.json", text);
    return "";
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(ScenarioReader, NamesThePlaceOfABrokenDocument) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "s.json:1:1: not JSON: The document is empty"},
      {"{\"name\": \"n\",\n  \"steps\" []}", "s.json:2:11: not JSON: Missing a colon after a name of object member"},
      {"{\"é\": \"ü\", x}", "s.json:1:12: not JSON: Missing a name for object member"},
      {"{\"a\": \"\xff\"}", "s.json:1:8: not JSON: Invalid encoding in string"},
      {"{} {}", "s.json:1:4: not JSON: The document root must not be followed by other values"},
      {std::string("{}\0{", 4), "s.json:1:3: not JSON: a NUL character stands here"},
      {"{\"name\": \"n\",\n \"name\": \"m\"}",
       "s.json:2:2: \"name\" stands here a second time; leave one of the two out"},
      {std::string(65, '['), "s.json:1:65: nested too deeply; at most 64 levels are read"},
      {"[]", "s.json:1:1: a scenario cannot be []; expected an object"},
      {"{\"name\": \"n\"}", "s.json:1:1: a scenario lacks \"configuration\"; give it an object"},
      {"{\n  \"name\": 7}", "s.json:2:11: \"name\" cannot be 7; expected a text"},
      {R"({"naem": "n"})",
       "s.json:1:2: a scenario has no \"naem\"; it may have \"name\", \"description\", "
       "\"configuration\", \"urlSchemes\", \"queriedSchemes\", \"installedSchemes\", \"notifications\", "
       "\"delegates\", \"application\", \"steps\", \"$schema\""},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(errorOf(text), error);
}

TEST(ScenarioReader, NamesThePlaceOfAStepThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("lunch")",
       ":2:1: there is no step \"lunch\"; the steps are say, launch, relaunch, startService, setDelegate, "
       "setNotificationDelegate, registerInterceptor, unregisterInterceptor, release, kit, token, failToRegister, "
       "consent, deliver, deliverInBackground, respond, handleResponse, goal, endSession, activate, badge, extension, "
       "configure, backend, advance, expect"},
      {"7", ":2:1: a step is an object with one entry, such as {\"advance\": 3}, or a name alone, such as \"launch\""},
      {R"("token")",
       ":2:1: \"token\" cannot be {}; expected hexadecimal digits, two for each byte, such as \"0aff00\", "
       "or null for absent"},
      {"{\"token\":\n\"0af\"}",
       ":3:1: \"token\" cannot be \"0af\"; expected hexadecimal digits, two for each byte, "
       "such as \"0aff00\", or null for absent"},
      {R"({"token": "00"})", ":2:1: \"token\" needs a running application; put a \"launch\" before it"},
      {R"("launch", "launch")",
       ":2:11: \"launch\" needs that nothing runs yet; \"relaunch\" ends the process and starts "
       "another"},
      {R"({"configure": {"GZIP": true, "COLOUR": 1}})",
       ":2:30: COLOUR is not known; known are SERVER_URL, DOMAIN, PORTAL_ID, PROJECT_ID, MAP_ID, AP_ID, "
       "APP_VERSION_ID, "
       "FRAMEWORK_ID, DEVICE_ID, ANONYMOUS_ID, ANONYMOUS_USER, ANONYMOUS_TRACKING, BEARER_TOKEN, APP_GROUP, GZIP, "
       "JWT_SECRET, APP_META, LOG_LEVEL, CA_FILE, CLEAR_TEXT_HOSTS"},
      {R"({"configure": {"APP_META": {"a": [null]}}})", ":2:35: APP_META cannot hold null; leave the entry out"},
      {R"({"configure": {"GZIP": "yes"}})", ":2:16: GZIP must be true or false"},
      {R"({"backend": {"status": 99}})", ":2:24: \"status\" cannot be 99; expected an HTTP status from 200 to 599"},
      {R"({"backend": {"headers": {"content-length": "3"}}})",
       ":2:25: \"headers\" cannot be {\"content-length\":\"3\"}; expected an object of header fields and their texts, "
       "without Content-Length, Transfer-Encoding and Connection, which are the server's own; give an answer with "
       "others of these as \"raw\""},
      {R"({"expect": {"requests": [{}, {"header": {}}]}})",
       ":2:31: an element of \"requests\" has no \"header\"; it may have \"method\", \"path\", \"query\", \"headers\", "
       "\"body\""},
      {R"({"expect": {"keychain": {"k": "zz"}}})",
       ":2:31: \"k\" cannot be \"zz\"; expected hexadecimal digits, two for "
       "each byte, such as \"0aff00\", or null for absent"},
      {R"("launch", {"deliver": "sale"})",
       ":2:23: there is no notification \"sale\" in the scenario's \"notifications\"; there are \"a\", \"b\""},
      {R"("launch", {"respond": {"with": "tap", "to": "c"}})",
       ":2:45: there is no notification \"c\" in the scenario's \"notifications\"; there are \"a\", \"b\""},
      {R"("launch", {"respond": {"to": "a"}})", ":2:23: \"respond\" lacks \"with\"; give it a text"},
      {R"("launch", {"handleResponse": {"to": {"addinfo": {}}, "with": "tap"}})",
       ":2:38: a notification has no \"addinfo\"; it may have \"payload\", \"addInfo\""},
      {R"("launch", {"deliver": 7})",
       ":2:23: \"deliver\" cannot be 7; expected the name of a notification, or an object with what it carries"},
      {R"("launch", {"deliver": {"payload": {"addInfo": "{}"}, "addInfo": {}}})",
       ":2:23: a notification cannot be this object; expected an object with what a "
       "notification carries: \"payload\", and \"addInfo\" unless the payload has one"},
      {R"({"goal": "a"})", ":2:1: \"goal\" needs a running application; put a \"launch\" before it"},
      {R"("launch", {"badge": {"count": 1, "through": "phone"}})",
       ":2:45: \"through\" cannot be \"phone\"; expected \"application\" or \"notificationCenter\""},
      {R"("launch", {"setDelegate": "Other"})",
       ":2:27: there is no delegate \"Other\"; there are \"AppDelegate\", \"NotificationDelegate\""},
      {R"("launch", {"kit": {"name": "a-b", "does": "replaces", "of": "application"}})",
       ":2:28: \"name\" cannot be \"a-b\"; expected a letter, then letters, digits and _, and not to begin with NS, "
       "UI, "
       "UN or PL as the platform's own do"},
      {R"({"expect": {"fetched": ["old"]}})",
       ":2:25: an element of \"fetched\" cannot be \"old\"; expected \"newData\", \"noData\", \"failed\" or an integer "
       "from 0 to 2147483647"},
      {R"({"say": [1, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxéé"]})", ":2:9: \"say\" cannot be this list; expected a text"},
  };
  for (const auto& [steps, error] : cases) {
    EXPECT_EQ(errorOf(std::string(head) + "\n" + steps + "]}"), std::string("s.json") + error);
  }
  const std::string half = R"({"configure": {"MAP_ID": ")" + std::string(2'100'000, 'x') + "\"}}";
  const std::string odd = R"({"configure": {"APP_META": {"a\u0000\u0001": 9223372036854775808}}},)";
  EXPECT_EQ(errorOf(head + odd + half + "]}"), "");
  EXPECT_THAT(errorOf(head + half + ",\n" + half + "]}"), StartsWith("s.json:2:15: the configuration is too"));
}

TEST(ScenarioReader, NamesThePlaceOfADelegateThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("delegates": {"NSDelegate": {}})",
       ":2:15: the name of a delegate cannot be \"NSDelegate\"; expected a letter, then letters, digits and _, and not "
       "to "
       "begin with NS, UI, UN or PL as the platform's own do"},
      {R"("delegates": {"A": {"implements": {"tokn": {}}}})",
       ":2:36: \"implements\" has no \"tokn\"; it may have \"token\", \"failure\", \"background\", \"foreground\", "
       "\"response\""},
      {R"("delegates": {"A": {"class": "B", "declares": []}, "B": {}})",
       ":2:20: \"A\" cannot be {\"class\":\"B\",\"declares\":[]}; expected an object with what the delegate's class "
       "is, or "
       "with \"class\" alone"},
      {R"("delegates": {"A": {"inherits": "B"}})",
       ":2:33: there is no delegate \"B\"; there are \"A\", \"AppDelegate\", \"NotificationDelegate\""},
      {R"("delegates": {"A": {"forwardsTo": "B"}, "B": {"inherits": "C"}, "C": {"class": "A"}})",
       ":2:35: \"forwardsTo\" leads from \"A\" back to itself; let it lead to a delegate that does not"},
      {R"("application": {"delegate": "B"})",
       ":2:29: there is no delegate \"B\"; there are \"AppDelegate\", \"NotificationDelegate\""},
      {R"("application": {"missingClasses": ["NSObject"]})",
       ":2:36: an element of \"missingClasses\" cannot be \"NSObject\"; expected UIApplication, "
       "UNUserNotificationCenter, "
       "UNNotification, UNNotificationRequest, UNNotificationContent or UNNotificationResponse"},
  };
  for (const auto& [entry, error] : cases) {
    EXPECT_EQ(errorOf(R"({"name": "n", "configuration": {}, "steps": [],)"
                      "\n" +
                      std::string(entry) + "}"),
              std::string("s.json") + error);
  }
  std::string kits = "\"launch\"";
  const std::string kit = R"(, {"kit": {"name": "K", "does": "reassigns", "of": "application"}})";
  for (int i = 0; i < 8; ++i) kits += kit;
  EXPECT_EQ(errorOf(head + kits + "]}"), "");
  EXPECT_THAT(errorOf(head + kits + kit + "]}"), HasSubstr("a scenario has room for 8 steps \"kit\""));
}

rapidjson::SchemaDocument schema() {
  rapidjson::Document document;
  document.Parse(test::fileText(PELLION_SOURCE_DIR "/docs/scenario.schema.json").c_str());
  EXPECT_FALSE(document.HasParseError());
  return rapidjson::SchemaDocument(document);
}

bool fits(const rapidjson::SchemaDocument& schema, const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str());
  rapidjson::SchemaValidator validator(schema);
  return document.Accept(validator);
}

std::vector<std::string> split(std::string_view texts) {
  std::vector<std::string> parts;
  for (const auto part : std::views::split(texts, '|')) parts.emplace_back(part.begin(), part.end());
  return parts;
}

TEST(ScenarioReader, AgreesWithTheSchema) {
  const rapidjson::SchemaDocument document = schema();
  const auto agree = [&](const std::string& text, bool isGood) {
    EXPECT_EQ(fits(document, text), isGood) << text;
    EXPECT_EQ(errorOf(text).empty(), isGood) << text << errorOf(text);
    EXPECT_THAT(errorOf(text), Not(HasSubstr("not JSON")));
  };
  const char* goodSteps[] = {
      R"("launch", {"relaunch": {}}, "backend", {"backend": {}})",
      R"("launch", {"token": ""}, {"token": "0aFF"}, {"token": null}, {"failToRegister": ""})",
      R"("launch", {"consent": {"anonymousUser": true, "anonymousTracking": false, "anonymousId": null, "deviceId": ""}})",
      R"({"configure": {"GZIP": null, "APP_META": {"a": [1]}, "CLEAR_TEXT_HOSTS": ["h"], "LOG_LEVEL": "info"}})",
      R"({"backend": {"status": 200, "body": 1, "headers": {"Date": "b"}, "delay": 60000, "times": 1000}})",
      R"({"backend": {"bytes": "fF", "sends": "half the body", "then": "resets", "pace": 0.5}}, {"backend": {"raw": ""}})",
      R"({"backend": {"body": "", "endless": "headers"}}, {"backend": {"connection": "refused"}})",
      R"("launch", {"deliver": "a"}, {"deliverInBackground": {"payload": {"addInfo": null}}}, "activate")",
      R"("launch", {"deliver": {"addInfo": {}, "payload": {"a": 1}}})",
      R"("launch", {"respond": {"to": "a", "with": "tap"}}, {"handleResponse": {"to": {}, "with": ""}})",
      R"("launch", "startService", {"setDelegate": null}, {"setNotificationDelegate": "NotificationDelegate"})",
      R"("launch", {"registerInterceptor": "AppDelegate"}, {"unregisterInterceptor": "AppDelegate"}, {"release": "AppDelegate"})",
      R"("launch", {"kit": {"name": "K_1", "does": "subclasses", "of": "notificationCenter"}})",
      R"({"expect": {"calls": ["a"], "fetched": ["noData", 7], "presented": [[], ["list", "badge"]], "completed": 0}})",
      R"("launch", {"goal": ""}, "endSession", {"endSession": {"duration": null}})",
      R"("launch", {"badge": {"count": -1}}, {"badge": {"count": 0, "through": "notificationCenter"}})",
      R"("extension", {"extension": {"leaves": [{"a": 1}, 2]}})",
      R"({"advance": 0}, {"advance": 2.5}, {"advance": 316224000})",
      R"({"expect": {"requests": [{}], "keychain": {"k": null, "l": "00"}, "log": ["a"]}})",
      R"({"expect": {"requestsInAnyOrder": [{"method": "", "path": "", "query": "", "headers": {"a": null}, "body": []}]}})",
      R"({"expect": {"requests": [{"query": {"a": "b", "c": null}, "body": {}}, {"body": "t"}, {"body": null}]}})",
      R"({"expect": {"statistics": [{"status": 4}], "opened": ["a:b"], "refused": [], "badge": 3, "pending": [], "raised": ""}})",
      R"({"expect": {"badge": null, "pending": null}})"};
  // Each alone, with | between them.
  constexpr std::string_view badSteps = R"({"launch": {"at": 1}}|"expect"|"say"|{"say": "a", "advance": 1}|{}|[])";
  // Arguments that a step cannot have, with | between them.
  const std::pair<const char*, std::string_view> badArguments[] = {
      {"token", R"("0x"|12)"},
      {"failToRegister", "null"},
      {"consent", R"({}|{"anonymousUser": null}|{"user": true}|{"deviceId": "a\u007f"})"},
      {"configure", R"({"GZIP": 1}|{"MAP_ID": 1}|{"MAP_ID": "a\nb"}|{"APP_META": []}|{"CLEAR_TEXT_HOSTS": [1]}
                      |{"LOG_LEVEL": "loud"}|{"JWT_SECRET": ""}|{"OTHER": ""})"},
      {"backend", R"({"status": 199}|{"status": 200.5}|{"status": 600}|{"delay": -1}|{"delay": 60001}|{"times": 0}
                    |{"times": 1001}|{"headers": {"A": "b\r\nC: d"}}|{"headers": {"A": 1}}|{"raw": null}
                    |{"raw": "", "status": 200}|{"raw": "", "body": 1}|{"raw": "", "headers": {}}|{"raw": "", "bytes": ""}
                    |{"body": "", "bytes": ""}|{"bytes": "f"}|{"sends": "all"}|{"then": "stays"}|{"endless": "nothing"}
                    |{"endless": "body", "sends": "nothing"}|{"endless": "body", "then": "closes"}|{"pace": -1}
                    |{"connection": "refused", "status": 200}|{"connection": true})"},
      {"deliver", R"({"addInfo": {}, "payload": {"addInfo": 1}}|{"addInfo": "{}"}|{"payload": []}|{"aps": {}}|["a"])"},
      {"respond", R"({"to": "a"}|{"with": "tap"}|"a")"},
      {"handleResponse", R"({"to": "a", "with": null})"},
      {"startService", "true"},
      {"setDelegate", "{}"},
      {"release", "null"},
      {"kit", R"({"name": "PLKit", "does": "replaces", "of": "application"}|{"name": "K", "does": "replaces"}
                |{"name": "K", "does": "breaks", "of": "application"})"},
      {"goal", "null"},
      {"endSession", "125"},
      {"activate", R"({"at": 1})"},
      {"badge", R"({"through": "application"}|{"count": 1.5}|{"count": 1, "through": "center"})"},
      {"extension", R"({"leaves": {}}|{"badge": 1})"},
      {"advance", R"(-0.5|316224001|"1")"},
      {"expect", R"({}|{"statistics": [4]}|{"statistics": null}|{"opened": [1]}|{"refused": "a:b"}|{"badge": "3"}
                   |{"pending": {}}|{"raised": []}|{"fetched": [-1]}|{"presented": ["list"]}|{"completed": -1}
                   |{"requests": [], "requestsInAnyOrder": []}|{"requests": {}}|{"requests": [{"query": ["a"]}]}
                   |{"requests": [{"query": {"a": 1}}]}|{"requests": [{"headers": {"a": 1}}]}
                   |{"requests": [{"body": 1}]}|{"requests": [{"status": 200}]}|{"keychain": {"k": "0"}}
                   |{"log": "a"}|{"log": [1]})"},
  };
  for (const char* text : goodSteps) agree(head + std::string(text) + "]}", true);
  for (const auto& step : split(badSteps)) agree(head + step + "]}", false);
  for (const auto& [step, arguments] : badArguments) {
    for (const auto& argument : split(arguments)) {
      agree(head + std::string(R"("launch", {")") + step + "\": " + argument + "}]}", false);
    }
  }
  const char* goodDocuments[] = {
      R"({"name": "", "description": "", "$schema": "", "configuration": {}, "steps": []})",
      R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": ["a", "B+1.-"], "queriedSchemes": ["a"],
          "installedSchemes": [], "notifications": {"": {}}})",
      R"({"name": "", "configuration": {}, "steps": [], "delegates": {"A": {"inherits": "B", "forwardsTo": "B"}, "C": {"class": "A"},
          "B": {"declares": ["UIApplicationDelegate"], "implements": {"token": {}, "failure": {}, "response": {},
                "background": {"answers": "later", "result": 7}, "foreground": {"answers": "twice", "shows": ["list"]}}}},
          "application": {"delegate": null, "notificationDelegate": "A", "missingClasses": ["UIApplication"], "startsService": false,
          "linkedBefore": 17}})"};
  constexpr std::string_view badDocuments =
      R"({"name": "", "configuration": {}}|{"name": "", "steps": []}|{"configuration": {}, "steps": []}
        |{"name": "", "configuration": {}, "steps": {}}|{"name": "", "configuration": [], "steps": []}
        |{"name": "", "configuration": {"GZIP": "no"}, "steps": []})";
  constexpr std::string_view badAdditions =
      R"("urlSchemes": ["1a"]|"urlSchemes": ["a:"]|"urlSchemes": [""]|"urlSchemes": "a"|"queriedSchemes": ["a:"]|"installedSchemes": {}
        |"notifications": {"a": {"x": 1}}|"notifications": []|"delegates": {"A": {"declares": ["B"]}}
        |"delegates": {"A": {"implements": {"token": {"answers": "later"}}}}
        |"delegates": {"A": {"implements": {"response": {"answers": "often"}}}}
        |"delegates": {"A": {}, "B": {"class": "A", "inherits": "A"}}
        |"application": {"missingClasses": ["NSObject"]}|"application": {"kits": []}|"application": {"linkedBefore": 16}|"more": 1)";
  for (const char* text : goodDocuments) agree(text, true);
  for (const auto& text : split(badDocuments)) agree(text, false);
  for (const auto& addition : split(badAdditions)) {
    agree(R"({"name": "", "configuration": {}, "steps": [], )" + addition + "}", false);
  }
  for (const auto& file : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/scenarios")) {
    const std::string text = test::fileText(file.path());
    EXPECT_TRUE(fits(document, text)) << file.path();
    EXPECT_EQ(errorOf(text), "") << file.path();
  }
}

}  // namespace
}  // namespace pellion

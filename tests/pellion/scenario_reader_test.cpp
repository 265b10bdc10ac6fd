#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/scenario.h"

namespace pellion {
namespace {

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
       "\"configuration\", \"urlSchemes\", \"notifications\", \"steps\", \"$schema\""},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(errorOf(text), error);
}

TEST(ScenarioReader, NamesThePlaceOfAStepThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("lunch")",
       ":2:1: there is no step \"lunch\"; the steps are say, launch, relaunch, token, failToRegister, consent, "
       "deliver, "
       "deliverInBackground, respond, handleResponse, goal, endSession, activate, badge, extension, configure, "
       "backend, advance, expect"},
      {R"({"tokn": "00"})",
       ":2:2: there is no step \"tokn\"; the steps are say, launch, relaunch, token, failToRegister, consent, deliver, "
       "deliverInBackground, respond, handleResponse, goal, endSession, activate, badge, extension, configure, "
       "backend, advance, expect"},
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
      {R"({"configure": {"GZIP": "yes"}})", ":2:16: GZIP must be true or false"},
      {R"({"backend": {"status": 99}})", ":2:24: \"status\" cannot be 99; expected an HTTP status from 200 to 599"},
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
       ":2:23: a notification cannot be {\"payload\":{\"addInfo\":\"{}\"},\"addInfo\":{}…; expected an object with "
       "what "
       "a "
       "notification carries: \"payload\", and \"addInfo\" unless the payload has one"},
      {R"({"goal": "a"})", ":2:1: \"goal\" needs a running application; put a \"launch\" before it"},
      {R"("launch", {"badge": {"count": 1, "through": "phone"}})",
       ":2:45: \"through\" cannot be \"phone\"; expected \"application\" or \"notificationCenter\""},
      {R"({"say": [1, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxéé"]})",
       ":2:9: \"say\" cannot be [1,\"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxé…; expected a text"},
  };
  for (const auto& [steps, error] : cases) {
    EXPECT_EQ(errorOf(std::string(head) + "\n" + steps + "]}"), std::string("s.json") + error);
  }
}

rapidjson::SchemaDocument schema() {
  std::ifstream file(PELLION_SOURCE_DIR "/docs/scenario.schema.json");
  std::stringstream text;
  text << file.rdbuf();
  rapidjson::Document document;
  document.Parse(text.str().c_str());
  EXPECT_FALSE(document.HasParseError());
  return rapidjson::SchemaDocument(document);
}

bool fits(const rapidjson::SchemaDocument& schema, const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str());
  rapidjson::SchemaValidator validator(schema);
  return document.Accept(validator);
}

TEST(ScenarioReader, AgreesWithTheSchema) {
  const rapidjson::SchemaDocument document = schema();
  const std::pair<const char*, bool> steps[] = {
      {R"("launch", {"relaunch": {}}, "backend", {"backend": {}})", true},
      {R"({"launch": {"at": 1}})", false},
      {R"("expect")", false},
      {R"("say")", false},
      {R"({"say": "a", "advance": 1})", false},
      {R"({})", false},
      {R"([])", false},
      {R"("launch", {"token": ""}, {"token": "0aFF"}, {"token": null}, {"failToRegister": ""})", true},
      {R"("launch", {"token": "0x"})", false},
      {R"("launch", {"token": 12})", false},
      {R"("launch", {"failToRegister": null})", false},
      {R"("launch", {"consent": {"anonymousUser": true, "anonymousTracking": false, "anonymousId": null, "deviceId": ""}})",
       true},
      {R"("launch", {"consent": {}})", false},
      {R"("launch", {"consent": {"anonymousUser": null}})", false},
      {R"("launch", {"consent": {"user": true}})", false},
      {R"({"configure": {"GZIP": null, "APP_META": {"a": [1]}, "CLEAR_TEXT_HOSTS": ["h"], "LOG_LEVEL": "info"}})",
       true},
      {R"({"configure": {"GZIP": 1}})", false},
      {R"({"configure": {"MAP_ID": 1}})", false},
      {R"({"configure": {"MAP_ID": "a\nb"}})", false},
      {R"({"configure": {"APP_META": []}})", false},
      {R"({"configure": {"CLEAR_TEXT_HOSTS": [1]}})", false},
      {R"({"configure": {"LOG_LEVEL": "loud"}})", false},
      {R"({"configure": {"JWT_SECRET": ""}})", false},
      {R"({"configure": {"OTHER": ""}})", false},
      {R"({"backend": {"status": 200, "body": 1, "headers": {"A": "b"}, "delay": 60000, "drop": true, "times": 1000}})",
       true},
      {R"({"backend": {"status": 199}})", false},
      {R"({"backend": {"status": 200.5}})", false},
      {R"({"backend": {"status": 600}})", false},
      {R"({"backend": {"delay": -1}})", false},
      {R"({"backend": {"delay": 60001}})", false},
      {R"({"backend": {"times": 0}})", false},
      {R"({"backend": {"times": 1001}})", false},
      {R"({"backend": {"headers": {"A": "b\r\nC: d"}}})", false},
      {R"({"backend": {"headers": {"A": 1}}})", false},
      {R"({"backend": {"drop": 1}})", false},
      {R"("launch", {"deliver": "a"}, {"deliverInBackground": {"payload": {"addInfo": null}}}, "activate")", true},
      {R"("launch", {"deliver": {"addInfo": {}, "payload": {"a": 1}}})", true},
      {R"("launch", {"deliver": {"addInfo": {}, "payload": {"addInfo": 1}}})", false},
      {R"("launch", {"deliver": {"addInfo": "{}"}})", false},
      {R"("launch", {"deliver": {"payload": []}})", false},
      {R"("launch", {"deliver": {"aps": {}}})", false},
      {R"("launch", {"deliver": ["a"]})", false},
      {R"("launch", {"respond": {"to": "a", "with": "tap"}}, {"handleResponse": {"to": {}, "with": ""}})", true},
      {R"("launch", {"respond": {"to": "a"}})", false},
      {R"("launch", {"respond": {"with": "tap"}})", false},
      {R"("launch", {"handleResponse": {"to": "a", "with": null}})", false},
      {R"("launch", {"respond": "a"})", false},
      {R"("launch", {"goal": ""}, "endSession", {"endSession": {"duration": null}})", true},
      {R"("launch", {"goal": null})", false},
      {R"("launch", {"endSession": 125})", false},
      {R"("launch", {"activate": {"at": 1}})", false},
      {R"("launch", {"badge": {"count": -1}}, {"badge": {"count": 0, "through": "notificationCenter"}})", true},
      {R"("launch", {"badge": {"through": "application"}})", false},
      {R"("launch", {"badge": {"count": 1.5}})", false},
      {R"("launch", {"badge": {"count": 1, "through": "center"}})", false},
      {R"("extension", {"extension": {"leaves": [{"a": 1}, 2]}})", true},
      {R"({"extension": {"leaves": {}}})", false},
      {R"({"extension": {"badge": 1}})", false},
      {R"({"advance": 0}, {"advance": 2.5}, {"advance": 316224000})", true},
      {R"({"advance": -0.5})", false},
      {R"({"advance": 316224001})", false},
      {R"({"advance": "1"})", false},
      {R"({"expect": {"requests": [{}], "keychain": {"k": null, "l": "00"}, "log": ["a"]}})", true},
      {R"({"expect": {"requestsInAnyOrder": [{"method": "", "path": "", "query": "", "headers": {"a": null}, "body": []}]}})",
       true},
      {R"({"expect": {"requests": [{"query": {"a": "b", "c": null}, "body": {}}, {"body": "t"}, {"body": null}]}})",
       true},
      {R"({"expect": {"statistics": [{"status": 4}], "opened": ["a:b"], "refused": [], "badge": 3, "pending": [], "raised": ""}})",
       true},
      {R"({"expect": {"badge": null, "pending": null}})", true},
      {R"({"expect": {"statistics": [4]}})", false},
      {R"({"expect": {"statistics": null}})", false},
      {R"({"expect": {"opened": [1]}})", false},
      {R"({"expect": {"refused": "a:b"}})", false},
      {R"({"expect": {"badge": "3"}})", false},
      {R"({"expect": {"pending": {}}})", false},
      {R"({"expect": {"raised": []}})", false},
      {R"({"expect": {}})", false},
      {R"({"expect": {"requests": [], "requestsInAnyOrder": []}})", false},
      {R"({"expect": {"requests": {}}})", false},
      {R"({"expect": {"requests": [{"query": ["a"]}]}})", false},
      {R"({"expect": {"requests": [{"query": {"a": 1}}]}})", false},
      {R"({"expect": {"requests": [{"headers": {"a": 1}}]}})", false},
      {R"({"expect": {"requests": [{"body": 1}]}})", false},
      {R"({"expect": {"requests": [{"status": 200}]}})", false},
      {R"({"expect": {"keychain": {"k": "0"}}})", false},
      {R"({"expect": {"log": "a"}})", false},
      {R"({"expect": {"log": [1]}})", false},
  };
  for (const auto& [text, isGood] : steps) {
    const std::string whole = std::string(head) + text + "]}";
    EXPECT_EQ(fits(document, whole), isGood) << text;
    EXPECT_EQ(errorOf(whole).empty(), isGood) << errorOf(whole);
  }
  const std::pair<const char*, bool> documents[] = {
      {R"({"name": "", "description": "", "$schema": "", "configuration": {}, "steps": []})", true},
      {R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": ["a", "B+1.-"], "notifications": {"": {}}})",
       true},
      {R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": ["1a"]})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": ["a:"]})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": [""]})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "urlSchemes": "a"})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "notifications": {"a": {"x": 1}}})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "notifications": []})", false},
      {R"({"name": "", "configuration": {}})", false},
      {R"({"name": "", "steps": []})", false},
      {R"({"configuration": {}, "steps": []})", false},
      {R"({"name": "", "configuration": {}, "steps": {}})", false},
      {R"({"name": "", "configuration": [], "steps": []})", false},
      {R"({"name": "", "configuration": {"GZIP": "no"}, "steps": []})", false},
      {R"({"name": "", "configuration": {}, "steps": [], "more": 1})", false},
  };
  for (const auto& [text, isGood] : documents) {
    EXPECT_EQ(fits(document, text), isGood) << text;
    EXPECT_EQ(errorOf(text).empty(), isGood) << errorOf(text);
  }
  for (const auto& file : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/scenarios")) {
    std::ifstream stream(file.path());
    std::stringstream text;
    text << stream.rdbuf();
    EXPECT_TRUE(fits(document, text.str())) << file.path();
    EXPECT_EQ(errorOf(text.str()), "") << file.path();
  }
}

}  // namespace
}  // namespace pellion

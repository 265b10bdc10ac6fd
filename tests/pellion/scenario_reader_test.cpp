#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "pellion/run/temporary_directory.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

std::string errorOf(std::string_view text, const std::string& file = "s.json") {
  try {
    readScenario(file, text);
    return "";
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(ScenarioReader, NamesThePlaceOfABrokenDocument) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "s.json:1:1: not JSON: the document is empty; write an object: {…}"},
      {"{\"name\": \"n\",\n  \"steps\" []}", "s.json:2:11: not JSON: Missing a colon after a name of object member"},
      {"{\"é\": \"ü\", x}", "s.json:1:12: not JSON: Missing a name for object member"},
      {"{\"a\": \"\xff\"}",
       "s.json:1:8: not JSON: this character is not UTF-8, perhaps Latin-1; save the text as UTF-8"},
      {"{} {}",
       "s.json:1:4: not JSON: a second document begins here; leave one of the two, or write them to two files"},
      {std::string("{}\0{", 4), "s.json:1:3: not JSON: there is a NUL character here; remove it"},
      {"{\"name\": \"n\",\n \"name\": \"m\"}", "s.json:2:2: \"name\" is repeated here; remove one of the two"},
      {std::string(65, '['), "s.json:1:65: nested too deeply; at most 64 levels are read"},
      {"{\"$schema\": \"\" /* é\n // */, // b\n /**/ \"name\": /*/*/ 7}",
       "s.json:3:21: \"name\" cannot be 7; expected a string"},
      {"// a\n{\"name\": [1, /* b */ ], \"x\": /",
       "s.json:2:31: not JSON: the document ends here; a bracket or a quotation mark before is not closed"},
      {"{\"name\": /* a */ \"n\", // b\n}",
       "s.json:1:1: a scenario has no \"steps\"; add it as a list of at least one step, such as \"launch\""},
      {R"({"name": "a\u00e"})", R"(s.json:1:12: not JSON: \u needs four hexadecimal digits; write them, as in \u00e4)"},
      {R"({"name": "a\ud83d"})",
       R"(s.json:1:12: not JSON: \ud83d is half a character; write both halves, as in \ud83d\ude00)"},
      {"{} /* a", "s.json:1:8: not JSON: the document ends here; a bracket or a quotation mark before is not closed"},
      {"[]", "s.json:1:1: a scenario cannot be []; expected an object"},
      {"{\"aps\": {}}", "s.json:1:1: this is a payload, not a scenario; pellion explain reads it"},
      {"{\"name\": \"n\"}",
       "s.json:1:1: a scenario has no \"steps\"; add it as a list of at least one step, such as \"launch\""},
      {"{\n  \"name\": 7}", "s.json:2:11: \"name\" cannot be 7; expected a string"},
      {R"({"naem": "n"})",
       "s.json:1:2: a scenario has no \"naem\"; did you mean \"name\"? It may have \"$schema\", \"application\", "
       "\"configuration\", \"delegates\", \"description\", \"installedSchemes\", \"name\", \"notifications\", "
       "\"queriedSchemes\", \"steps\", \"urlSchemes\""},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(errorOf(text), error);
}

/// A valid scenario with the given entries on line 2.
std::string scenarioWith(const std::string& entries) {
  return R"({"name": "n", "configuration": {"JWT_SECRET": "s"}, "notifications": {"a": {}, "b": {}, "Price cut": {}},)"
         "\n" +
         entries + "}";
}
std::string scenarioWith(const Value& entries) {
  const std::string object = compactJSON(entries);
  return scenarioWith(object.substr(1, object.size() - 2));
}
std::string withSteps(const std::string& steps) { return scenarioWith("\"steps\": [" + steps + "]"); }

TEST(ScenarioReader, NamesThePlaceOfAnErrorInAScenario) {
  for (const Value& row : test::caseRows("pellion/cases/wrong_scenarios.json")) {
    const std::string text = scenarioWith(test::at(row, "entries"));
    const std::size_t column = text.find(test::textAt(row, "at"), text.find('\n')) - text.find('\n');
    EXPECT_EQ(errorOf(text), "s.json:2:" + std::to_string(column) + ": " + test::textAt(row, "error"))
        << test::textAt(row, "case");
  }
}

TEST(ScenarioReader, AcceptsALargeConfigurationAndEightKits) {
  const std::string half = R"({"configure": {"MAP_ID": ")" + std::string(2'100'000, 'x') + "\"}}";
  const std::string odd = R"({"configure": {"APP_META": {"a\u0000\u0001": 9223372036854775808}}})";
  EXPECT_EQ(errorOf(withSteps(odd + "," + half)), "");
  EXPECT_THAT(errorOf(withSteps(half + ",\n" + half)), StartsWith("s.json:3:15: the configuration is too"));
  std::string kits = "\"launch\"";
  const std::string kit = R"(, {"kit": {"name": "K", "does": "reassigns", "of": "application"}})";
  for (int i = 0; i < 8; ++i) kits += kit;
  EXPECT_EQ(errorOf(withSteps(kits)), "");
  EXPECT_THAT(errorOf(withSteps(kits + kit)), HasSubstr("a scenario may have at most 8 steps \"kit\""));
}

TEST(ScenarioReader, NamesAScenarioAfterItsFile) {
  EXPECT_EQ(readScenario("suite/big sale.v2.json", R"({"steps": ["launch"]})").name, "big sale.v2");
  EXPECT_EQ(readScenario("s.json", R"({"name": "", "steps": ["launch"]})").name, "");
  EXPECT_THAT(errorOf(R"({"steps": ["lunch"]})"), StartsWith("s.json:1:12: there is no step"));
}

TEST(ScenarioReader, NamesTheDocumentAndTheFileThatItNames) {
  const TemporaryDirectory directory;
  const std::string file = directory.path() / "s.json";
  const std::string named = directory.path() / "a.json";
  const auto errorWith = [&](const std::string& content, const std::string& entries) {
    std::ofstream(named) << content;
    return errorOf("{\"name\": \"n\", " + entries + "}", file);
  };
  const std::string notification = R"("notifications": {"a": {"payload": "a.json"}}, "steps": ["launch"])";
  const std::string step = R"("steps": ["launch", {"tap": {"payload": "./a.json", "addInfo": {}}}])";
  const std::string configuration = R"("configuration": "a.json", "steps": ["launch"])";
  const std::string content = ": the content cannot be []; expected an object";
  EXPECT_EQ(errorWith("{}", notification), "");
  EXPECT_EQ(errorWith("{}", step), "");
  EXPECT_EQ(errorWith("{\"GZIP\": true}", configuration), "");
  EXPECT_EQ(errorWith("[]", notification), file + ":1:50: " + named + ":1:1" + content);
  EXPECT_EQ(errorWith("{ // a\n}", notification),
            file + ":1:50: " + named + ":1:3: not JSON: this is a comment, and JSON has none; remove it");
  EXPECT_THAT(errorWith("[]", step), EndsWith("/./a.json:1:1" + content));
  EXPECT_THAT(errorWith("{\"addInfo\": \"{}\"}", step), StartsWith(file + ":1:43: \"tap\" cannot be this object; "));
  EXPECT_THAT(errorWith("{\n\"GZPI\": true}", configuration),
              StartsWith(file + ":1:32: " + named + ":2:1: GZPI is not known; did you mean GZIP?"));
  EXPECT_EQ(errorWith("", R"("configuration": "b.json", "steps": ["launch"])"),
            file + ":1:32: " + directory.path().string() +
                "/b.json: No such file or directory; give the path of a configuration, a JSON object");
  EXPECT_THAT(errorWith(R"({"CA_FILE": "a.json"})", configuration),
              HasSubstr("a.json:1:2: CA_FILE must name certificates in PEM form; " + named + " holds none"));
  EXPECT_THAT(errorWith(R"({"CA_FILE": "none"})", configuration), HasSubstr("must name a file that exists; "));
  EXPECT_THAT(errorWith("", R"("configuration": "/dev/stdin", "steps": ["launch"])"), Not(IsEmpty()));
}

constexpr unsigned commented = rapidjson::kParseCommentsFlag | rapidjson::kParseTrailingCommasFlag;

rapidjson::Document schemaText() {
  rapidjson::Document document;
  document.Parse(test::fileText(PELLION_SOURCE_DIR "/docs/scenario.schema.json").c_str());
  EXPECT_FALSE(document.HasParseError());
  return document;
}

bool fits(const rapidjson::SchemaDocument& schema, const std::string& text) {
  rapidjson::Document document;
  document.Parse<commented>(text.c_str());
  rapidjson::SchemaValidator validator(schema);
  return document.Accept(validator);
}

TEST(ScenarioReader, AgreesWithTheSchema) {
  const rapidjson::SchemaDocument document(schemaText());
  const std::string file = PELLION_SOURCE_DIR "/examples/scenarios/s.json";  // beside the payloads that they name
  const auto agree = [&](const std::string& text, bool isGood) {
    EXPECT_EQ(fits(document, text), isGood) << text;
    EXPECT_EQ(errorOf(text, file).empty(), isGood) << text << errorOf(text, file);
    EXPECT_THAT(errorOf(text, file), Not(HasSubstr("not JSON")));
  };
  const Value cases = test::caseJSON("pellion/cases/schema.json");
  const auto each = [&](const char* group) { return test::elements(test::at(cases, group)); };
  for (const Value& steps : each("goodSteps")) agree(scenarioWith("\"steps\": " + compactJSON(steps)), true);
  for (const Value& step : each("wrongSteps")) agree(withSteps(compactJSON(step)), false);
  for (const auto& [step, arguments] : test::at(cases, "wrongArguments").entries()) {
    for (const Value& argument : test::elements(arguments)) {
      agree(withSteps("\"launch\", {" + compactJSON(step) + ": " + compactJSON(argument) + "}"), false);
    }
  }
  for (const Value& entries : each("wrongEntries")) agree(scenarioWith(entries), false);
  for (const Value& scenario : each("goodScenarios")) agree(compactJSON(scenario), true);
  for (const Value& scenario : each("wrongScenarios")) agree(compactJSON(scenario), false);
  for (const auto& example : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/scenarios")) {
    const std::string text = test::fileText(example.path());
    EXPECT_TRUE(fits(document, text)) << example.path();
    EXPECT_EQ(errorOf(text, example.path()), "") << example.path();
  }
}

/// Calls `visit` for each property of an object that some part of the schema describes.
void forEachProperty(const rapidjson::Value& part,
                     const std::function<void(const char* name, const rapidjson::Value& property)>& visit) {
  if (part.IsArray()) {
    for (const auto& element : part.GetArray()) forEachProperty(element, visit);
  }
  if (!part.IsObject()) return;
  for (const auto& [key, value] : part.GetObject()) {
    const std::string_view name = key.GetString();
    if (name == "examples" || name == "not") continue;
    if (name == "properties") {
      for (const auto& [property, content] : value.GetObject()) visit(property.GetString(), content);
    }
    forEachProperty(value, visit);
  }
}

TEST(ScenarioReader, HasASchemaThatExplainsEachPropertyWithExamplesThatFit) {
  rapidjson::Document schema = schemaText();
  std::size_t count = 0;
  forEachProperty(schema, [&](const char* name, const rapidjson::Value& property) {
    ++count;
    ASSERT_TRUE(property.HasMember("description") && property["description"].GetStringLength() > 0) << name;
    ASSERT_TRUE(property.HasMember("examples") && !property["examples"].Empty()) << name;
    rapidjson::Document alone(rapidjson::kObjectType);  // with the definitions that it refers to
    alone.CopyFrom(property, alone.GetAllocator());
    alone.AddMember("definitions", rapidjson::Value(schema["definitions"], alone.GetAllocator()), alone.GetAllocator());
    const rapidjson::SchemaDocument document(alone);
    for (const auto& example : property["examples"].GetArray()) {
      rapidjson::SchemaValidator validator(document);
      EXPECT_TRUE(example.Accept(validator)) << name;
    }
  });
  EXPECT_GT(count, 100U);
}

}  // namespace
}  // namespace pellion

#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <filesystem>

#include "pellion/document/json_writer.h"
#include "pellion/steps/scenario_steps.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

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
      {std::string("{}\0{", 4), "s.json:1:3: not JSON: there is a NUL character here; remove it"},
      {"{\"name\": \"n\",\n \"name\": \"m\"}", "s.json:2:2: \"name\" is repeated here; remove one of the two"},
      {std::string(65, '['), "s.json:1:65: nested too deeply; at most 64 levels are read"},
      {"{\"$schema\": \"\" /* é\n // */, // b\n /**/ \"name\": /*/*/ 7}",
       "s.json:3:20: \"name\" cannot be 7; expected a text"},
      {"// a\n{\"name\": [1, /* b */ ], \"x\": /", "s.json:2:31: not JSON: Unspecific syntax error"},
      {"{\"name\": /* a */ \"n\", // b\n}", "s.json:1:1: a scenario has no \"configuration\"; add it as an object"},
      {"{} /* a", "s.json:1:8: not JSON: Unspecific syntax error"},
      {"[]", "s.json:1:1: a scenario cannot be []; expected an object"},
      {"{\"name\": \"n\"}", "s.json:1:1: a scenario has no \"configuration\"; add it as an object"},
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

TEST(ScenarioReader, AgreesWithTheSchema) {
  const rapidjson::SchemaDocument document = schema();
  const auto agree = [&](const std::string& text, bool isGood) {
    EXPECT_EQ(fits(document, text), isGood) << text;
    EXPECT_EQ(errorOf(text).empty(), isGood) << text << errorOf(text);
    EXPECT_THAT(errorOf(text), Not(HasSubstr("not JSON")));
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
  for (const auto& file : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/scenarios")) {
    const std::string text = test::fileText(file.path());
    EXPECT_TRUE(fits(document, text)) << file.path();
    EXPECT_EQ(errorOf(text), "") << file.path();
  }
}

}  // namespace
}  // namespace pellion

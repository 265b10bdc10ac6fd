#include "pellion/fleet/fleet_plan.h"

#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <filesystem>
#include <fstream>

#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

class FleetPlans : public Test {
 protected:
  std::string file(const Value& plan) {
    const std::string path = directory_.path() / "p.json";
    std::ofstream(path) << compactJSON(plan);
    return path;
  }
  std::string errorOf(const Value& plan) {
    try {
      readFleetPlan(file(plan));
      return "";
    } catch (const InputError& error) {
      return error.what();
    }
  }

 private:
  const test::TemporaryDirectory directory_;
};

/// A row's plan: whole, or one kind with this life, and what else the row has.
Value planOf(const Value& row) {
  if (const Value* plan = row.find("plan")) return *plan;
  const Value life = Value::dictionary({{"steps", test::at(row, "life")}});
  std::vector<Value::Entry> entries{{"kinds", Value::list({Value::dictionary({{"name", "a"}, {"life", life}})})}};
  if (const Value* wave = row.find("wave")) entries.push_back({"waves", Value::list({*wave})});
  if (const Value* faults = row.find("faults")) entries.push_back({"faults", *faults});
  return Value::dictionary(entries);
}

TEST_F(FleetPlans, AreRefusedWithTheirPlace) {
  for (const Value& row : test::caseRows("fleet/cases/wrong_plans.json")) {
    EXPECT_THAT(errorOf(planOf(row)), HasSubstr(test::textAt(row, "error"))) << compactJSON(row);
  }
}

TEST_F(FleetPlans, GiveLivesTheirConfigurationAndNotifications) {
  const Value plan = test::caseJSON("fleet/cases/shared.json");
  const FleetPlan read = readFleetPlan(file(plan));
  const Value& configuration = read.kinds.at(0).life.configuration.value;
  EXPECT_EQ(test::textAt(configuration, "PORTAL_ID"), "of the life");
  EXPECT_EQ(test::textAt(configuration, "DEVICE_ID"), "of the plan");
  EXPECT_EQ(read.kinds.at(0).life.notifications.entries().size(), 2U);
  EXPECT_EQ(read.kinds.at(1).life.notifications.entries().size(), 1U);
  EXPECT_EQ(read.waves.at(0).steps.at(0).size(), 1U);
  EXPECT_TRUE(read.waves.at(0).steps.at(1).empty()) << "not for this kind";
  EXPECT_DOUBLE_EQ(greatestRate(read, 100, 5), 25) << "half of 100 phones in two seconds";
  EXPECT_DOUBLE_EQ(greatestRate(read, 100, 30), 30);
}

/// Finds the scenarios' schema, to which that of plans refers.
class Schemas : public rapidjson::IRemoteSchemaDocumentProvider {
 public:
  Schemas() : scenario_(documentOf("scenario"), this) {}
  const rapidjson::SchemaDocument* GetRemoteDocument(const char* /*uri*/, rapidjson::SizeType /*size*/) override {
    return &scenario_;
  }
  static const rapidjson::Document& documentOf(const std::string& name) {
    static std::map<std::string, rapidjson::Document> documents;
    rapidjson::Document& document = documents[name];
    const std::string text = test::fileText(PELLION_SOURCE_DIR "/docs/" + name + ".schema.json");
    document.Parse(text.c_str());
    return document;
  }

 private:
  rapidjson::SchemaDocument scenario_;
};

TEST_F(FleetPlans, OfTheExamplesFitTheSchema) {
  Schemas schemas;
  const rapidjson::SchemaDocument schema(Schemas::documentOf("fleet"), &schemas);
  const auto fits = [&](const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    rapidjson::SchemaValidator validator(schema);
    return !document.HasParseError() && document.Accept(validator);
  };
  for (const auto& example : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/fleet")) {
    if (example.path().extension() != ".json") continue;
    EXPECT_TRUE(fits(test::fileText(example.path()))) << example.path();
    EXPECT_NO_THROW(readFleetPlan(example.path())) << example.path();
  }
  EXPECT_FALSE(
      fits(R"({"kinds": [{"name": "a", "life": {"steps": [{"maybe": {"chance": 2, "steps": ["activate"]}}]}}]})"));
  EXPECT_FALSE(fits(R"({"kinds": [{"name": "a", "life": {"steps": ["lanch"]}}]})"));
}

}  // namespace
}  // namespace pellion

// Scenarios that are opened together with the files that they name.

#include "pellion/lab/chosen_files.h"

#include <gmock/gmock.h>

#include "pellion/lab/session_document.h"
#include "pellion/lab_server/lab_routes.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_path.h"
#include "pellion/text/json_writer.h"
#include "tests/lab/protocol.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

constexpr const char* twoNames =
    "// Größe\n{\"notifications\": {\"größe\": {\"payload\": \"../p/sale.json\"},\n"
    "  \"n\": {\"payload\": \"sale.json\"}}, /* \"x\" */ \"steps\": [\"launch\"]}\n";
constexpr const char* sale = "{\"aps\": {\"badge\": 2},\r\n \"addInfo\": \"{\\\"a\\\":\\n1}\"}\n";

std::string included(const Value& files, unsigned status) {
  LabRoutes routes({});
  test::Protocol protocol;
  const std::string request = compactJSON(Value::dictionary({{"files", files}}));
  protocol.expectFits("chosenFiles", request);
  const LabReply reply = routes.reply({.method = "POST", .path = "/api/include", .body = request});
  protocol.expectFits(status == 200 ? "chosenScenario" : "failure", reply.body);
  EXPECT_EQ(reply.status, status) << reply.body;
  return test::textAt(readJSON("answer", reply.body).value, status == 200 ? "scenario" : "error");
}

TEST(ChosenFiles, StandInTheScenarioWithoutMovingItsLines) {
  const std::string named = twoNames;
  const std::string sameName = std::string(named).replace(named.find("../p/"), 5, "");
  const std::string text = included(Value::dictionary({{"sale.json", sale}, {"s.json", sameName}}), 200);
  EXPECT_EQ(std::ranges::count(text, '\n'), std::ranges::count(named, '\n'));
  const Scenario read = readScenario("s.json", text);
  const Value payload = readJSON("sale.json", sale).value;
  for (const char* name : {"größe", "n"}) EXPECT_EQ(test::at(test::at(read.notifications, name), "payload"), payload);
}

TEST(ChosenFiles, AreOneScenarioAndWhatItNames) {
  const Value::Entry steps{"s.json", R"({"configuration": "c.json", "steps": []})"};
  std::string many = R"({"steps": [)";
  for (std::size_t i = 0; i <= ChosenScenario::mostNames; ++i) many += R"({"deliver": {"payload": "sale.json"}},)";
  const std::pair<Value, const char*> cases[] = {
      {Value::dictionary({{"a.json", "{}"}}), "none of these files is a scenario"},
      {Value::dictionary({{"a.json", "{"}, steps}), "a.json:1:2"},
      {Value::dictionary({steps, {"t.json", R"({"steps": []})"}}), "s.json and t.json are both scenarios"},
      {Value::dictionary({steps}), "s.json:1:19: names the file c.json; choose c.json together with it"},
      {Value::dictionary({steps, {"c.json", "{} // no"}}), "c.json:1:4"},
      {Value::dictionary({steps, {"c.json", R"({"CA_FILE": "ca.pem"})"}}), "c.json:1:13: CA_FILE is relative"},
      {Value::dictionary({{"s.json", R"({"configuration": "", "steps": []})"}}), "s.json:1:19: names no file"},
      {Value::dictionary({{"s.json", twoNames}, {"sale.json", sale}}), "../p/sale.json and sale.json, which the page"},
      {Value::dictionary({{"s.json", many + "]}"}, {"sale.json", sale}}), "names more than 100 files"},
      {Value::dictionary({steps, {"c.json", '"' + std::string(ChosenScenario::mostBytes, 'x') + '"'}}), "1 MiB"}};
  for (const auto& [files, error] : cases) EXPECT_THAT(included(files, 400), HasSubstr(error));
}

TEST(SessionDocument, HasALargestSize) {
  SessionDocument document("scenario", R"({"steps": []})");
  const auto step = [](std::size_t size) {
    return placelessNode(Value::dictionary({{"say", std::string(size, 'x')}}));
  };
  document.add(step(SessionDocument::mostBytes / 2), {});
  EXPECT_NO_THROW(static_cast<void>(document.with(step(1))));
  EXPECT_THROW(static_cast<void>(document.with(step(SessionDocument::mostBytes / 2))), InputError);
  EXPECT_THROW(document.nameOf(std::string(SessionDocument::mostBytes / 2, 'x'), ""), InputError);
}

}  // namespace
}  // namespace pellion

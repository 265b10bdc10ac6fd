#include "fuzz/target.h"
#include "pellion/document/scenario.h"
#include "pellion/steps/scenario_steps.h"
#include "platform/json_serialization.h"

// Reads a scenario document, without playing it: it must be accepted whole or rejected with a position.

namespace fuzz {
namespace {

constexpr const char* file = "scenario.json";

void requireSame(const pellion::Scenario& left, const pellion::Scenario& right) {
  require(left.name == right.name && left.description == right.description && left.urlSchemes == right.urlSchemes &&
              left.configuration.value == right.configuration.value && left.notifications == right.notifications &&
              left.application == right.application,
          "a rewritten scenario reads back as the same");
  require(left.steps.size() == right.steps.size(), "a rewritten scenario has the same steps");
  for (std::size_t i = 0; i != left.steps.size(); ++i) {
    require(left.steps[i].kind == right.steps[i].kind && left.steps[i].argument.value == right.steps[i].argument.value,
            "a rewritten scenario has the same steps", left.steps[i].kind->name);
  }
}

}  // namespace

void run(std::string_view input) {
  try {
    const pellion::Scenario scenario = pellion::readScenario(file, input);
    const pellion::JSONNode document = pellion::readJSON(file, input, pellion::JSONForm::commented);
    const platform::Value text = platform::JSONSerialization::dataWithJSONObject(document.value);
    requireSame(scenario, pellion::readScenario(file, textOf(text.bytes())));
  } catch (const pellion::InputError& error) {
    requireOneLineAbout(file, error.what());
    require(
        std::string_view(error.what()).substr(std::string_view(file).size() + 1).find_first_not_of("0123456789") > 0,
        "an error names the line", error.what());
  }
}

}  // namespace fuzz

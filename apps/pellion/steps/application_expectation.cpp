#include "pellion/steps/application_expectation.h"

#include <algorithm>
#include <vector>

#include "pellion/run/scenario_run.h"
#include "pellion/steps/request_expectation.h"
#include "pellion/text/similar_name.h"

namespace pellion {

using platform::Value;

const Shape listOfFetchResults{"a list of fetch results", isList, {}, &fetchResultShape};
const Shape listOfPresentations{"a list of lists of presentation options", isList, {}, &presentationsShape};
const Shape countShape{"a number from 0 to 2147483647",
                       [](const Value& value) { return isIntegerIn(value, 0, INT32_MAX); }};

void checkCallNames(const Scenario& scenario, const JSONNode& expectation) {
  const JSONNode* calls = expectation.find("calls");
  if (calls == nullptr) return;
  std::vector<std::string_view> objects;
  for (const auto& [name, delegate] : scenario.application.delegates) objects.push_back(name);
  for (const Step& step : scenario.steps) {
    const JSONNode* name = step.kind->name == "kit" ? step.argument.find("name") : nullptr;
    if (name != nullptr) objects.push_back(name->value.text());
  }
  std::vector<std::string_view> callbacks;
  for (const CallbackKind& kind : callbackKinds()) callbacks.push_back(kind.name);
  for (const JSONNode& call : calls->elements) {
    const std::string_view text = call.value.text();
    const std::size_t space = std::min(text.find(' '), text.size());
    const std::string_view object = text.substr(0, space);
    const std::string_view callback = text.substr(std::min(space + 1, text.size()));
    const auto refuse = [&](std::string_view what, std::string_view name, const std::vector<std::string_view>& known,
                            std::string_view introduction) {
      throw errorAt(scenario.file, call.position,
                    "there is no " + std::string(what) + " \"" + std::string(name) + "\" to call; " +
                        remedyForName(name, known, introduction));
    };
    if (std::ranges::find(objects, object) == objects.end()) refuse("delegate or kit", object, objects, "there are");
    if (std::ranges::find(callbacks, callback) == callbacks.end()) {
      refuse("callback", callback, callbacks, "a call is the object's name and one of");
    }
  }
}

std::string checkCalls(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<Value> calls;
  for (const Value& call : run.take("app", "called")) {
    calls.emplace_back(std::string(call.find("name")->text()) + " " + std::string(call.find("callback")->text()));
  }
  expectElements("call", wanted.value.elements(), calls, mismatches);
  return counted(calls.size(), "call");
}

std::string checkFetched(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<Value> results;
  for (const Value& details : run.take("platform", "fetched")) {
    results.push_back(*details.find("result"));
  }
  expectElements("fetch result", wanted.value.elements(), results, mismatches);
  return counted(results.size(), "fetch result");
}

std::string checkPresented(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<Value> presented;
  for (const Value& details : run.take("platform", "presents")) {
    presented.push_back(*details.find("options"));
  }
  std::vector<Value> inOneOrder;
  for (const Value& names : wanted.value.elements())
    inOneOrder.push_back(presentationNames(presentationOptions(names)));
  expectElements("presentation", inOneOrder, presented, mismatches);
  return counted(presented.size(), "presentation");
}

std::string checkCompleted(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  const auto count = static_cast<std::int64_t>(run.take("platform", "response completed").size());
  if (wanted.value != Value(count)) {
    mismatches.push_back({"responses completed", std::to_string(wanted.value.integer()), std::to_string(count)});
  }
  return counted(static_cast<std::size_t>(count), "response") + " completed";
}

}  // namespace pellion

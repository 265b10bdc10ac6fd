#include "pellion/steps/application_expectation.h"

#include "pellion/run/scenario_run.h"
#include "pellion/steps/request_expectation.h"

namespace pellion {

using platform::Value;

const Shape listOfFetchResults{"a list of fetch results", isList, {}, &fetchResultShape};
const Shape listOfPresentations{"a list of lists of presentation options", isList, {}, &presentationsShape};
const Shape countShape{"a number from 0 to 2147483647",
                       [](const Value& value) { return isIntegerIn(value, 0, INT32_MAX); }};

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

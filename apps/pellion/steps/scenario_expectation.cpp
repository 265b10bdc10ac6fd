#include "pellion/steps/scenario_expectation.h"

#include <algorithm>
#include <array>

#include "host/phone/phone.h"
#include "pellion/run/mismatch.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/application_expectation.h"
#include "pellion/steps/notification_expectation.h"
#include "pellion/steps/request_expectation.h"
#include "value/hexadecimal.h"

namespace pellion {
namespace {

using platform::Value;

/// A kind of expectation: a name in an "expect" step. A new one is a new row of the table below.
struct ExpectationKind {
  Field field;
  /// Adds the differences to `mismatches`; returns a short text that says what was compared.
  std::string (*check)(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
};

std::string checkRequestsInOrder(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  expectRequests(wanted, run.takeRequests(), mismatches);
  return counted(wanted.elements.size(), "request");
}

std::string checkRequestsInAnyOrder(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  expectRequestsInAnyOrder(wanted, run.takeRequests(), mismatches);
  return counted(wanted.elements.size(), "request") + " in any order";
}

std::string checkKeychain(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  for (const auto& [position, key, item] : wanted.members) {
    const std::optional<Value> found = run.phone().keychain().data(key);
    const std::optional<Value> bytes =
        item.value.isNull() ? std::nullopt : std::optional(bytesOfHex(item.value.text()));
    if (found == bytes) continue;
    const auto shown = [](const std::optional<Value>& data) { return data ? value::hexText(data->bytes()) : absent; };
    mismatches.push_back({"keychain " + key, shown(bytes), shown(found)});
  }
  return "the keychain";
}

std::string checkLog(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<std::string> lines;
  for (const Value& details : run.take("module", "log")) lines.emplace_back(details.find("text")->text());
  if (wanted.elements.empty() && !lines.empty()) mismatches.push_back({"log", "(nothing)", lines.front()});
  auto from = lines.begin();
  for (const JSONNode& part : wanted.elements) {
    const auto found = std::find_if(from, lines.end(), [&](const std::string& line) {
      return line.find(part.value.text()) != std::string_view::npos;
    });
    if (found == lines.end()) {
      mismatches.push_back({"log", std::string(part.value.text()),
                            "not in " + counted(static_cast<std::size_t>(lines.end() - from), "further line")});
      break;
    }
    from = found + 1;
  }
  return counted(wanted.elements.size(), "log line");
}

const Shape listOfRequests{"a list of requests", isList, {}, &requestShape};

const ExpectationKind expectationKinds[] = {
    {{"requests", &listOfRequests}, checkRequestsInOrder},
    {{"requestsInAnyOrder", &listOfRequests}, checkRequestsInAnyOrder},
    {{"keychain", &shapes::hexByName}, checkKeychain},
    {{"log", &shapes::texts}, checkLog},
    {{"statistics", &listOfEntries}, checkStatistics},
    {{"opened", &shapes::texts}, checkOpened},
    {{"refused", &shapes::texts}, checkRefused},
    {{"badge", &badgeShape}, checkBadge},
    {{"pending", &pendingShape}, checkPending},
    {{"raised", &shapes::text}, checkRaised},
    {{"calls", &shapes::texts}, checkCalls},
    {{"fetched", &listOfFetchResults}, checkFetched},
    {{"presented", &listOfPresentations}, checkPresented},
    {{"completed", &countShape}, checkCompleted},
};
const auto fields = [] {
  std::array<Field, std::size(expectationKinds)> all{};
  std::ranges::transform(expectationKinds, all.begin(), &ExpectationKind::field);
  return all;
}();

bool isExpectation(const Value& value) {
  const bool hasBoth = value.find("requests") != nullptr && value.find("requestsInAnyOrder") != nullptr;
  return isObject(value) && !value.entries().empty() && !hasBoth;
}

}  // namespace

const Shape expectationShape{
    "an object with at least one expectation, but not with both \"requests\" and \"requestsInAnyOrder\"", isExpectation,
    fields};

void expect(ScenarioRun& run, const JSONNode& expectation) {
  Mismatches mismatches;
  std::string checked;
  for (const ExpectationKind& kind : expectationKinds) {
    const JSONNode* wanted = expectation.find(kind.field.name);
    if (wanted == nullptr) continue;
    checked.append(checked.empty() ? "" : ", ").append(kind.check(run, *wanted, mismatches));
  }
  if (mismatches.empty()) {
    run.report("expectation", "met", Value::dictionary({{"checked", checked}}));
    return;
  }
  run.fail(expectation.position, mismatches);
}

void refuseBackendSteps(const Scenario& scenario) {
  for (const Step& step : scenario.steps) {
    if (!step.kind->needsBackend) continue;
    throw errorAt(scenario.file, step.position,
                  "\"" + std::string(step.kind->name) +
                      "\" cannot be used with --server, because the built-in backend receives no requests; leave "
                      "it out, or run without --server");
  }
}

}  // namespace pellion

#include "pellion/steps/notification_expectation.h"

#include <algorithm>
#include <vector>

#include "pellion/document/statistics_status.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/extension_step.h"
#include "pellion/steps/request_expectation.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/similar_name.h"

namespace pellion {
namespace {

using platform::Value;

constexpr const char* nothing = "(nothing)";

/// The entries in a request that carries some, from the details that the run reports for it.
std::span<const Value> entriesIn(const Value& request, Mismatches& mismatches) {
  const Value& body = *request.find("body");
  if (body.isNull()) return {};
  for (const Value& layer : body.find("decoding")->elements()) {
    if (*layer.find("failed") != Value(true)) continue;
    mismatches.push_back({"statistics", "every layer opened and verified", std::string(layer.find("text")->text())});
  }
  const Value* json = body.find("json");
  const Value* entries = json == nullptr ? nullptr : json->find("pnstats");
  return entries == nullptr ? std::span<const Value>() : entries->elements();
}

void expectURLs(ScenarioRun& run, const char* what, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<Value> urls;
  for (const Value& details : run.take("platform", what)) urls.push_back(*details.find("url"));
  expectElements(what, wanted.value.elements(), urls, mismatches);
}

std::string shown(const std::optional<Value>& value) { return value ? compactJSON(*value) : absent; }

void checkStatus(std::string_view file, const JSONNode& entry) {
  const JSONNode* status = entry.find("status");
  if (status == nullptr || status->value.kind() == Value::Kind::integer) return;
  const std::vector<std::string_view> names = allStatusNames();
  const std::string_view text = status->value.text();
  if (std::ranges::find(names, text) != names.end()) return;
  const bool isText = status->value.ifString().has_value();
  throw errorAt(file, status->position,
                "there is no status " + compactJSON(status->value) + "; " +
                    remedyForName(isText ? text : "", names, "it is an integer or one of"));
}

const Shape entryShape{"an object with the expected parts of a statistics entry", isObject, {}, nullptr, checkStatus};

}  // namespace

const Shape listOfEntries{"a list of statistics entries", isList, {}, &entryShape};
const Shape badgeShape{"an integer, or null for absent",
                       [](const Value& value) { return value.isNull() || isIntegerIn(value, INT64_MIN, INT64_MAX); }};
const Shape pendingShape{"a list of statistics entries, or null for absent",
                         [](const Value& value) { return value.isNull() || isList(value); }};

std::string checkStatistics(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  std::vector<Value> found;
  for (const Value& request : run.take("network", "sends")) {
    const auto entries = entriesIn(request, mismatches);
    found.insert(found.end(), entries.begin(), entries.end());
  }
  expectElements("entry", wanted.value.elements(), found, mismatches);
  return counted(wanted.elements.size(), "statistics entry", "statistics entries");
}

std::string checkOpened(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  expectURLs(run, "opened URL", wanted, mismatches);
  return counted(wanted.elements.size(), "URL") + " opened";
}

std::string checkRefused(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  expectURLs(run, "refused URL", wanted, mismatches);
  return counted(wanted.elements.size(), "URL") + " refused";
}

std::string checkBadge(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  const std::optional<Value> found = sharedValue(run, badgeKey);
  if (wanted.value.isNull() ? found.has_value() : found != wanted.value) {
    mismatches.push_back({"badge", wanted.value.isNull() ? absent : compactJSON(wanted.value), shown(found)});
  }
  return "the badge";
}

std::string checkPending(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  const std::optional<Value> found = sharedValue(run, pendingKey);
  if (wanted.value.isNull() ? found.has_value() : !found || found->ifList() == nullptr) {
    mismatches.push_back({"pending", wanted.value.isNull() ? absent : compactJSON(wanted.value), shown(found)});
  } else if (found) {
    expectElements("pending entry", wanted.value.elements(), found->elements(), mismatches);
  }
  return counted(wanted.elements.size(), "pending entry", "pending entries");
}

std::string checkRaised(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches) {
  const std::vector<std::string> raised = run.takeRaised();
  const std::string text(wanted.value.text());
  if (raised.empty()) mismatches.push_back({"raised", text, nothing});
  for (const std::string& each : raised) {
    if (each.find(text) == std::string::npos) mismatches.push_back({"raised", text, each});
  }
  return "the exception";
}

}  // namespace pellion

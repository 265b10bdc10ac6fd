#include "pellion/steps/observed_expectation.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "pellion/document/statistics_status.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/extension_step.h"

namespace pellion {
namespace {

using platform::Value;

/// The query items without which the backend knows neither device nor user, where the phone has no value for them: a
/// strict run demands that an expectation names them.
std::vector<Value::Entry> absentIDs(const ReceivedRequest& request) {
  std::vector<Value::Entry> absent;
  for (const auto& [name, value] : request.queryItems) {
    const bool isID = name == "deviceid" || name == "anondeviceid";
    if (isID && (value.empty() || value == "(null)")) absent.push_back({name, value});
  }
  return absent;
}

Value expectedRequest(const ReceivedRequest& request) {
  std::vector<Value::Entry> wanted;
  if (const std::string* token = request.findHeader("notificationid")) {
    wanted = {{"headers", Value::dictionary({{"notificationid", *token}})}};
  } else {
    wanted = {{"method", request.method}, {"path", std::string(request.path())}};
  }
  if (const auto absent = absentIDs(request); !absent.empty()) wanted.push_back({"query", Value::dictionary(absent)});
  return Value::dictionary(wanted);
}

Value expectedEntry(const Value& entry) {
  std::vector<Value::Entry> wanted;
  for (const char* name : {"notificationid", "status", "actionid"}) {
    if (const Value* value = entry.find(name)) wanted.push_back({name, *value});
  }
  return Value::dictionary(wanted);
}

std::span<const Value> entriesIn(const ReceivedRequest& request) {
  if (!request.decodedBody || !request.decodedBody->json) return {};
  const Value* entries = request.decodedBody->json->find("pnstats");
  return entries == nullptr ? std::span<const Value>() : entries->elements();
}

/// Several requests at once may arrive in any order. With ObservedParts::requests those that only carry statistics are
/// expected by their entries alone. A later expectation of requests would then count them, too.
void addRequests(std::vector<Value::Entry>& expectation, ScenarioRun& run, ObservedParts parts) {
  const std::vector<ReceivedRequest> sent = run.takeRequests();
  std::vector<Value> requests;
  std::ranges::transform(sent, std::back_inserter(requests), expectedRequest);
  // Not those of `sent`: an expectation of either kind may have taken what the other one has not.
  std::vector<Value> statistics;
  for (const Value& details : run.take("network", "sends")) {
    for (const Value& entry : statisticsIn(details)) statistics.push_back(expectedEntry(entry));
  }
  const bool haveOnlyStatistics =
      std::ranges::none_of(sent, [](const ReceivedRequest& request) { return entriesIn(request).empty(); });
  if (!haveOnlyStatistics || (parts != ObservedParts::requests && !sent.empty())) {
    expectation.push_back({requests.size() == 1 ? "requests" : "requestsInAnyOrder", Value::list(requests)});
  }
  if (haveOnlyStatistics || !statistics.empty()) expectation.push_back({"statistics", Value::list(statistics)});
}

/// A kind of event that an expectation lists.
struct Listed {
  const char* actor;
  const char* what;
  const char* name;  ///< of the expectation
  Value (*element)(const Value& details);
};
constexpr Listed urls[] = {
    {"platform", "opened URL", "opened", [](const Value& details) { return *details.find("url"); }},
    {"platform", "refused URL", "refused", [](const Value& details) { return *details.find("url"); }}};
constexpr Listed answers[] = {
    {"platform", "fetched", "fetched", [](const Value& details) { return *details.find("result"); }},
    {"platform", "presents", "presented", [](const Value& details) { return *details.find("options"); }}};
constexpr Listed calls[] = {{"app", "called", "calls", [](const Value& details) {
                               return Value(std::string(details.find("name")->text()) + " " +
                                            std::string(details.find("callback")->text()));
                             }}};

void addLists(std::vector<Value::Entry>& expectation, ScenarioRun& run, std::span<const Listed> kinds) {
  for (const auto& [actor, what, name, element] : kinds) {
    std::vector<Value> elements;
    for (const Value& details : run.take(actor, what)) elements.push_back(element(details));
    if (!elements.empty()) expectation.push_back({name, Value::list(elements)});
  }
}

void addBadge(std::vector<Value::Entry>& expectation, ScenarioRun& run) {
  std::optional<Value> badge;
  for (const Value& stored : run.take("shared store", "stored")) {
    if (*stored.find("key") == Value(badgeKey)) badge = *stored.find("value");
  }
  if (badge) expectation.push_back({"badge", *badge});
}

/// The text that all exceptions begin with, up to the address of an object.
std::string commonText(const std::vector<std::string>& raised) {
  std::string_view common = std::string_view(raised.front()).substr(0, raised.front().find(" 0x"));
  for (const std::string& each : raised) common = {common.begin(), std::ranges::mismatch(common, each).in1};
  return std::string(common);
}

void addRaised(std::vector<Value::Entry>& expectation, ScenarioRun& run) {
  const std::vector<std::string> raised = run.takeRaised();
  if (!raised.empty()) expectation.push_back({"raised", commonText(raised)});
}

}  // namespace

Value observedExpectation(ScenarioRun& run, ObservedParts parts) {
  std::vector<Value::Entry> expectation;
  addRaised(expectation, run);
  if (parts == ObservedParts::raised) return Value::dictionary(expectation);
  addRequests(expectation, run, parts);
  addLists(expectation, run, urls);
  if (parts >= ObservedParts::answers) {
    addLists(expectation, run, answers);
    addBadge(expectation, run);
  }
  if (parts == ObservedParts::calls) addLists(expectation, run, calls);
  return Value::dictionary(expectation);
}

}  // namespace pellion

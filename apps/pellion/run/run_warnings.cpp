#include "pellion/run/run_warnings.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include "pellion/document/presentation.h"
#include "platform/json_serialization.h"

namespace pellion {
namespace {

using platform::Value;

const Value& at(const Value& details, std::string_view key) {
  static const Value nothing;
  const Value* found = details.find(key);
  return found == nullptr ? nothing : *found;
}

std::string reasonAndRemedy(const Value& details) {
  return std::string(at(details, "reason").text()) + "; " + std::string(at(details, "remedy").text());
}

void addIDs(std::vector<std::string>& ids, const Value& entries) {
  for (const Value& entry : entries.elements()) ids.push_back(at(entry, "notificationid").description());
}

std::optional<Value> objectIn(const Value& text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.text().data());
  auto json = platform::JSONSerialization::JSONObjectWithData({bytes, text.text().size()}, nullptr);
  return json && json->ifDictionary() != nullptr ? json : std::nullopt;
}

struct CarriedID {
  Value id;
  bool isInAddInfo;  ///< where the module looks for it
};

/// The id in the payload, wherever it is: in a wrong place it is a mistake that a warning should name.
std::optional<CarriedID> carriedID(const Value& payload) {
  std::optional<CarriedID> elsewhere;
  std::vector<Value> unread{payload};
  while (!unread.empty()) {
    const Value next = std::move(unread.back());
    unread.pop_back();
    unread.insert(unread.end(), next.elements().begin(), next.elements().end());
    for (const Value::Entry& entry : next.entries()) {
      if (entry.key == Value("pellionPnID") && !elsewhere) elsewhere = {entry.value, false};
      if (const std::optional<Value> object = objectIn(entry.value)) {
        const Value* id = object->find("pellionPnID");
        if (id != nullptr && entry.key == Value("addInfo")) return CarriedID{*id, true};
        unread.push_back(*object);
      }
      unread.push_back(entry.value);
    }
  }
  return elsewhere;
}

/// Why the module finds no id; empty if it does.
std::string faultOf(const CarriedID& carried) {
  if (!carried.isInAddInfo) return R"(the id is not in the JSON text "addInfo"; write it there)";
  const bool isPositive = (carried.id.isNumber() || carried.id.ifString()) && carried.id.integerValue() >= 1;
  return isPositive ? "" : "the id is not an integer above 0; give it one";
}

/// Why a phone does nothing with a payload that has this "aps".
std::string faultOfAPS(const Value* aps) {
  if (aps == nullptr) return R"(its payload has no "aps")";
  if (aps->ifDictionary() == nullptr) return R"("aps" in its payload is no object)";
  return R"("aps" in its payload has no alert with a text, no sound, no badge and no "content-available": 1)";
}

std::string nameOrArticle(const std::string& name) { return name.empty() ? "a notification" : '"' + name + '"'; }

/// Whether the step makes the built-in backend respond in a way that a phone may take for no answer.
bool mayFail(const Step& step) {
  constexpr std::string_view causes[] = {"connection", "sends", "then", "endless", "raw", "headers", "bytes"};
  constexpr std::chrono::seconds longestWait{60};  // the phone waits no longer for a byte
  if (step.kind->name != "backend") return false;
  const JSONNode* delay = step.argument.find("delay");
  const JSONNode* pace = step.argument.find("pace");
  return std::ranges::any_of(causes, [&](std::string_view name) { return step.argument.find(name) != nullptr; }) ||
         (delay != nullptr && std::chrono::milliseconds(delay->value.integer()) >= longestWait) ||
         (pace != nullptr && durationOf(pace->value) >= longestWait);
}

/// Whether the step expects what a failed request leads to.
bool namesFailure(const Step& step) {
  if (step.kind->name != "expect") return false;
  const JSONNode* requests = step.argument.find("requests");
  const JSONNode* keychain = step.argument.find("keychain");
  const auto isNull = [](const JSONMember& item) { return item.value.value.isNull(); };
  return step.argument.find("log") != nullptr || (requests != nullptr && requests->elements.empty()) ||
         (keychain != nullptr && std::ranges::any_of(keychain->members, isNull));
}

bool isMissing(std::string_view id) { return id.empty() || id == "(null)"; }

/// What the request does not name, as the core library says it.
std::vector<std::string> lackingIn(const Value& request) {
  constexpr std::string_view start = "/sdk/v1/";
  std::vector<std::string> effects;
  std::string_view path = at(request, "path").text();
  path = path.substr(0, path.find('?'));
  if (const std::size_t found = path.rfind(start); found != std::string_view::npos) {
    path.remove_prefix(found + start.size());
    for (const char* effect : {"addresses no portal", "addresses no project"}) {
      const std::string_view id = path.substr(0, path.find('/'));
      if (isMissing(id)) effects.emplace_back(effect);
      path.remove_prefix(std::min(id.size() + 1, path.size()));
    }
  }
  for (const Value& item : at(request, "query").elements()) {
    if (!isMissing(item.elements()[1].text())) continue;
    if (item.elements()[0] == Value("deviceid")) effects.emplace_back("names no device to the backend");
    if (item.elements()[0] == Value("anondeviceid")) effects.emplace_back("names no user to the backend");
  }
  return effects;
}

/// Whether the step expects a request whose path or query lacks an id.
bool expectsLack(const Step& step) {
  if (step.kind->name != "expect") return false;
  return std::ranges::any_of(step.argument.members, [](const JSONMember& expectation) {
    return std::ranges::any_of(expectation.value.elements, [](const JSONNode& request) {
      const Value& query = at(request.value, "query");
      return at(request.value, "path").text().find("//") != std::string_view::npos ||
             at(request.value, "path").text().find("(null)") != std::string_view::npos ||
             query.text().find("(null)") != std::string_view::npos ||
             std::ranges::any_of(query.entries(), [](const Value::Entry& item) {
               return item.value.ifString() && isMissing(item.value.text());
             });
    });
  });
}

}  // namespace

void RunWarnings::handOver(std::string_view name, const Value& payload, bool isWhole) {
  if (isWhole && !isPresented(payload) && !wakesApplication(payload)) {
    const bool isKnown =
        !name.empty() && std::ranges::find(unpresented_, name, &Unpresented::name) != unpresented_.end();
    if (!isKnown) unpresented_.push_back({step_, std::string(name), faultOfAPS(payload.find("aps"))});
  }
  const std::optional<CarriedID> carried = carriedID(payload);
  if (!carried) return;
  handedOver_.push_back({.step = step_,
                         .name = std::string(name),
                         .id = carried->id.description(),
                         .fault = faultOf(*carried),
                         .reason = obstacle_});
}

RunWarnings::HandedOver* RunWarnings::ofThisStep() {
  return handedOver_.empty() || handedOver_.back().step != step_ ? nullptr : &handedOver_.back();
}

void RunWarnings::observe(const host::Event& event) {
  const auto is = [&](std::string_view actor, std::string_view what) {
    return event.actor == actor && event.what == what;
  };
  if (event.actor == "module") {
    observeModule(event);
  } else if (is("network", "sends")) {
    obstacle_.reset();
    observeRequest(event.details);
    addIDs(sent_, at(at(at(event.details, "body"), "json"), "pnstats"));
  } else if (is("shared store", "stored") && at(event.details, "key") == Value("pellionDidReceivePushNotification")) {
    pending_.clear();
    addIDs(pending_, at(event.details, "value"));
  } else if (is("platform", "undelivered")) {
    if (HandedOver* notification = ofThisStep()) {
      notification->reason = "no delegate has the method " + std::string(at(event.details, "callback").text()) +
                             "; start the messaging service, and set the delegate before";
    }
  } else if (is("app", "launched")) {
    obstacle_.reset();
  }
}

void RunWarnings::observeRequest(const Value& details) {
  for (std::string& effect : lackingIn(details)) {
    if (std::ranges::find(unaddressed_, effect, &Unaddressed::effect) != unaddressed_.end()) continue;
    unaddressed_.push_back({step_, std::move(effect), std::string(at(details, "path").text())});
  }
}

void RunWarnings::observeModule(const host::Event& event) {
  if (event.what == "blocked") {
    obstacle_ = reasonAndRemedy(event.details);
    idReasons_[std::string(at(event.details, "effect").text())] = *obstacle_;
    if (HandedOver* notification = ofThisStep()) notification->reason = obstacle_;
  } else if (event.what == "not accepted") {
    if (HandedOver* notification = ofThisStep()) notification->reason = reasonAndRemedy(event.details);
    const Value* status = event.details.find("status");
    unaccepted_.push_back({step_, status == nullptr ? std::nullopt : std::optional(status->integer()),
                           std::string(at(event.details, "reason").text()),
                           std::string(at(event.details, "remedy").text())});
  }
}

bool RunWarnings::isExpectedAfter(std::size_t step) const {
  constexpr std::string_view names[] = {"statistics", "requests", "requestsInAnyOrder", "pending", "raised"};
  return std::any_of(
      scenario_.steps.begin() + static_cast<std::ptrdiff_t>(step), scenario_.steps.end(), [&](const Step& each) {
        return each.kind->name == "expect" &&
               std::ranges::any_of(names, [&](std::string_view name) { return each.argument.find(name) != nullptr; });
      });
}

/// A step without a status asks for 200; the bytes of a raw answer may hold any.
bool RunWarnings::isAskedFor(std::int64_t status) const {
  return std::ranges::any_of(scenario_.steps, [&](const Step& step) {
    if (step.kind->name != "backend") return false;
    const JSONNode* wanted = step.argument.find("status");
    return step.argument.find("raw") != nullptr || (wanted == nullptr ? 200 : wanted->value.integer()) == status;
  });
}

/// Whether a "backend" step asks for a response that may fail, or a later "expect" names a failure of the request: its
/// line in the log, or that nothing is sent or stored.
bool RunWarnings::isFailureMeant(std::size_t step) const {
  return std::ranges::any_of(scenario_.steps, mayFail) ||
         std::any_of(scenario_.steps.begin() + static_cast<std::ptrdiff_t>(step), scenario_.steps.end(), namesFailure);
}

std::optional<Warning> RunWarnings::unaccepted(const Unaccepted& answer) const {
  const Position position = scenario_.steps[answer.step].position;
  if (!answer.status) {
    if (isFailureMeant(answer.step)) return std::nullopt;
    return Warning{.position = position,
                   .subject = "a request",
                   .problem = R"(gets no answer, and no "backend" step asks for that)",
                   .reason = answer.reason,
                   .remedy = answer.remedy,
                   .wanted = R"(an accepted answer, or a "backend" step that asks for the failure)",
                   .found = "no answer: " + answer.reason + "; " + answer.remedy};
  }
  if (isAskedFor(*answer.status)) return std::nullopt;
  return Warning{.position = position,
                 .subject = "answer " + std::to_string(*answer.status),
                 .problem = R"(is not accepted, and no "backend" step asks for it)",
                 .reason = answer.reason,
                 .remedy = answer.remedy,
                 .wanted = R"(an accepted answer, or a "backend" step that asks for this one)",
                 .found = "an answer that is not accepted: " + answer.reason + "; " + answer.remedy};
}

Warning RunWarnings::unaddressed(const Unaddressed& request) const {
  const auto known = idReasons_.find(request.effect);
  const std::string reason = known != idReasons_.end() ? known->second : "its path is " + request.target;
  return {.position = scenario_.steps[request.step].position,
          .subject = "a request",
          .problem = request.effect + R"(, and no "expect" names such a URL)",
          .reason = reason,
          .remedy = R"(if this is meant, expect it: {"expect": {"requests": [{"path": …}]}})",
          .wanted = "all ids in its URL",
          .found = "it " + request.effect + ": " + reason};
}

Warning RunWarnings::unpresented(const Unpresented& notification) const {
  return {.position = scenario_.steps[notification.step].position,
          .subject = nameOrArticle(notification.name),
          .problem = "would neither be shown by a phone nor wake the application",
          .reason = notification.reason,
          .remedy = R"(give it "aps": {"alert": "…"}, or "aps": {"content-available": 1})",
          .wanted = R"(an "aps" that shows it or wakes the application)",
          .found = notification.reason};
}

Warning RunWarnings::uncounted(const HandedOver& notification) const {
  const std::string fallback =
      "the module did not record it; --log shows what it did, and pellion explain reads its payload";
  const std::string reason = notification.fault.empty() ? notification.reason.value_or(fallback) : notification.fault;
  return {.position = scenario_.steps[notification.step].position,
          .subject = nameOrArticle(notification.name) + " with id " + notification.id,
          .problem = "leads to no statistics entry",
          .reason = reason,
          .remedy = R"(if this is meant, expect it: {"expect": {"statistics": []}})",
          .wanted = R"(a statistics entry, or an "expect" with "statistics")",
          .found = "no statistics entry: " + reason};
}

std::vector<Warning> RunWarnings::warnings() const {
  std::vector<Warning> found;
  std::set<std::string> known(sent_.begin(), sent_.end());
  known.insert(pending_.begin(), pending_.end());
  for (const HandedOver& each : handedOver_) {
    if (isExpectedAfter(each.step) || !known.insert(each.id).second) continue;
    found.push_back(uncounted(each));
  }
  for (const Unpresented& each : unpresented_) found.push_back(unpresented(each));
  for (const Unaddressed& request : unaddressed_) {
    const auto first = scenario_.steps.begin() + static_cast<std::ptrdiff_t>(request.step);
    if (std::none_of(first, scenario_.steps.end(), expectsLack)) found.push_back(unaddressed(request));
  }
  for (const Unaccepted& answer : unaccepted_) {
    if (auto warning = unaccepted(answer)) found.push_back(*std::move(warning));
  }
  if (std::ranges::none_of(scenario_.steps, [](const Step& step) { return step.kind->name == "expect"; })) {
    found.push_back({.position = scenario_.steps.front().position,
                     .subject = "the scenario",
                     .problem = "expects nothing",
                     .reason = "whatever the module does, it passes",
                     .remedy = R"(add an "expect" step)"});
  }
  return found;
}

}  // namespace pellion

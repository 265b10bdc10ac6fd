#include "pellion/lab/session_document.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_path.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

JSONNode listNode(const std::vector<JSONNode>& elements) {
  std::vector<Value> values;
  std::ranges::transform(elements, std::back_inserter(values), &JSONNode::value);
  return {{}, Value::list(values), {}, elements};
}

JSONNode objectNode(const std::vector<JSONMember>& members) {
  std::vector<Value::Entry> entries;
  entries.reserve(members.size());
  for (const auto& [position, name, node] : members) entries.push_back({name, node.value});
  return {{}, Value::dictionary(entries), members, {}};
}

/// What a scenario without a step of its own has, because a scenario needs one.
JSONNode heading(std::string_view text) { return placelessNode(Value::dictionary({{"say", text}})); }

/// One step "advance" in place of two; nothing if they are other steps, or too long for one.
std::optional<Value> sumOf(const Value& step, const Value& next) {
  const Value* first = step.find("advance");
  const Value* second = next.find("advance");
  if (first == nullptr || second == nullptr) return std::nullopt;
  const std::chrono::nanoseconds sum = durationOf(*first) + durationOf(*second);
  const auto whole = std::chrono::floor<std::chrono::seconds>(sum);
  const Value seconds = whole == sum ? Value(static_cast<std::int64_t>(whole.count()))
                                     : Value(std::chrono::duration<double>(sum).count());
  return shapes::seconds.isKind(seconds) ? std::optional(Value::dictionary({{"advance", seconds}})) : std::nullopt;
}

std::string indented(const std::string& text) {
  std::string result;
  for (const char character : text) result.append(1, character).append(character == '\n' ? "  " : "");
  return result;
}

}  // namespace

SessionDocument::SessionDocument(std::string file, const std::string& text) : file_(std::move(file)) {
  JSONNode document = readJSON(file_, text, JSONForm::commented);
  refuseFiles(document);
  if (const JSONNode* steps = document.find("steps"); steps == nullptr || !isList(steps->value)) {
    static_cast<void>(readScenario(file_, text));  // throws
  }
  for (JSONMember& member : document.members) {
    if (member.name == "steps") {
      waiting_.assign(std::make_move_iterator(member.value.elements.begin()),
                      std::make_move_iterator(member.value.elements.end()));
    } else if (member.name == "notifications" && isObject(member.value.value)) {
      notifications_.assign(member.value.value.entries().begin(), member.value.value.entries().end());
    } else if (member.name != "$schema") {
      head_.push_back(std::move(member));
    }
  }
  if (waiting_.size() > mostSteps) {
    throw InputError(file_ + ": has more than " + std::to_string(mostSteps) + " steps; leave some out");
  }
}

/// A page may not read the files of this machine.
void SessionDocument::refuseFiles(const JSONNode& document) const {
  const auto files = filesNamedIn(file_, document, stepKinds());
  if (files.empty()) return;
  throw errorAt(file_, files.front().position,
                "names the file " + files.front().path +
                    ", which the lab does not read; choose both together, or put its content in the place of the name");
}

void SessionDocument::refuseMore(std::size_t bytes) const {
  if (done_.size() < mostSteps && bytes_ + bytes <= mostBytes) return;
  throw InputError("the session has " + std::to_string(done_.size()) + " steps and " + std::to_string(bytes_ >> 10U) +
                   " KiB, more than which the lab does not keep; download it, and begin another");
}

JSONNode SessionDocument::documentWith(const std::vector<JSONNode>& steps) const {
  std::vector<JSONMember> members = head_;
  members.push_back({{}, "notifications", placelessNode(Value::dictionary(notifications_))});
  members.push_back({{}, "steps", listNode(steps)});
  return objectNode(members);
}

Scenario SessionDocument::opened() const {
  std::vector<JSONNode> steps(waiting_.begin(), waiting_.end());
  if (steps.empty()) steps.push_back(heading("The lab"));
  Scenario scenario = readScenario(file_, documentWith(steps), stepKinds());
  scenario.steps.clear();
  return scenario;
}

Scenario SessionDocument::with(const JSONNode& step) const {
  refuseMore(compactJSON(step.value).size());
  refuseFiles(objectNode({{{}, "steps", listNode({step})}}));
  std::vector<JSONNode> steps;
  std::ranges::transform(done_, std::back_inserter(steps), &Done::step);
  steps.push_back(step);
  return readScenario(file_, documentWith(steps), stepKinds());
}

void SessionDocument::add(JSONNode step, Value expectation) {
  bytes_ += compactJSON(step.value).size() + compactJSON(expectation).size();
  done_.push_back({std::move(step), std::move(expectation)});
}

void SessionDocument::expectMore(const Value& expectation) {
  const Value& present = done_.back().expectation;
  std::vector<Value::Entry> entries(present.entries().begin(), present.entries().end());
  entries.insert(entries.end(), expectation.entries().begin(), expectation.entries().end());
  if (!entries.empty()) done_.back().expectation = Value::dictionary(entries);
}

std::string SessionDocument::nameOf(const Value& payload, std::string_view wantedName) {
  const auto describes = [&](const Value::Entry& entry) {
    const Value* whole = entry.value.find("payload");
    return whole != nullptr && *whole == payload && entry.value.entries().size() == 1;
  };
  if (const auto known = std::ranges::find_if(notifications_, describes); known != notifications_.end()) {
    return std::string(known->key.text());
  }
  const std::size_t bytes = compactJSON(payload).size();
  refuseMore(bytes);
  bytes_ += bytes;
  const std::string stem(wantedName.empty() ? "notification" : wantedName);
  std::string name = stem;
  for (int number = 2; hasNotification(name); ++number) name = stem + " " + std::to_string(number);
  notifications_.push_back({name, Value::dictionary({{"payload", payload}})});
  return name;
}

bool SessionDocument::hasNotification(std::string_view name) const {
  return std::ranges::find(notifications_, Value(name), &Value::Entry::key) != notifications_.end();
}

bool SessionDocument::hasCategory(std::string_view name) const {
  const auto found = std::ranges::find(notifications_, Value(name), &Value::Entry::key);
  const Value* payload = found == notifications_.end() ? nullptr : found->value.find("payload");
  const Value* aps = payload == nullptr ? nullptr : payload->find("aps");
  return aps != nullptr && aps->find("category") != nullptr;
}

JSONNode SessionDocument::takeWaiting() {
  JSONNode step = std::move(waiting_.front());
  waiting_.pop_front();
  return step;
}

std::string SessionDocument::text(const std::string& options) const {
  std::string text = "// Run it: pellion test " + options + "FILE. Each step and entry: docs/scenario.md\n{\n";
  const auto addEntry = [&](std::string_view name, const Value& value) {
    text.append("  ").append(compactJSON(name)).append(": ").append(indented(prettyJSON(value))).append(",\n");
  };
  for (const JSONMember& member : head_) addEntry(member.name, member.value.value);
  if (!notifications_.empty()) addEntry("notifications", Value::dictionary(notifications_));
  text += "  \"steps\": [\n";
  for (auto next = done_.begin(); next != done_.end(); ++next) {
    Value step = next->step.value;
    // Times that nothing divides are one.
    while (next->expectation.isNull() && std::next(next) != done_.end()) {
      const auto sum = sumOf(step, std::next(next)->step.value);
      if (!sum) break;
      step = *sum;
      ++next;
    }
    text.append("    ").append(spacedJSON(step)).append(",\n");
    if (next->expectation.isNull()) continue;
    text.append("    ").append(spacedJSON(Value::dictionary({{"expect", next->expectation}}))).append(",\n\n");
  }
  text.erase(text.find_last_not_of(",\n") + 1);
  return text + "\n  ]\n}\n";
}

}  // namespace pellion

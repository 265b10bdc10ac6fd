#include <array>

#include "pellion/explain/explanation_reports.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

Value nameOf(Happening::Kind kind) {
  constexpr std::array<const char*, 7> names{"deliveredInForeground",
                                             "deliveredInBackground",
                                             "tapped",
                                             "button",
                                             "unknownButton",
                                             "dismissed",
                                             "goalReached"};
  return names.at(static_cast<std::size_t>(kind));
}

/// {"results": […]}, or {"results": [], "stoppedAt": step, "why": text, "isProblem": whether the payload is the cause}
Value jsonOf(const Outcome& outcome) {
  std::vector<Value::Entry> entries{{"results", Value::list(outcome.results)}};
  if (outcome.state != Outcome::State::happened) {
    entries.push_back({"stoppedAt", outcome.step});
    entries.push_back({"why", outcome.why});
    entries.push_back({"isProblem", outcome.state == Outcome::State::stopped});
  }
  return Value::dictionary(entries);
}

/// The same for entries, with the names of their statuses.
Value jsonOfEntries(const Outcome& recorded) {
  std::vector<Value> names;
  for (const Value& entry : recorded.results) {
    if (const Value* status = entry.find("status")) names.emplace_back(nameOfStatus(*status));
  }
  std::vector<Value::Entry> entries{{"statuses", Value::list(names)}};
  const Value plain = jsonOf(recorded);
  entries.insert(entries.begin(), plain.entries().begin(), plain.entries().end());
  return Value::dictionary(entries);
}

Value jsonOf(const Happening& happening) {
  std::vector<Value::Entry> entries{{"happening", nameOf(happening.kind)}};
  if (!happening.name.empty()) entries.push_back({"name", happening.name});
  if (!happening.note.empty()) entries.push_back({"note", happening.note});
  entries.insert(entries.end(), {{"recorded", jsonOfEntries(happening.recorded)},
                                 {"opened", jsonOf(happening.opened)},
                                 {"openedByHandler", jsonOf(happening.openedByHandler)},
                                 {"goal", jsonOf(happening.goal)},
                                 {"badge", jsonOf(happening.badge)}});
  Value raised;
  if (happening.raised) {
    raised = Value::dictionary({{"name", happening.raised->name}, {"reason", happening.raised->reason}});
  }
  entries.push_back({"raised", raised});
  return Value::dictionary(entries);
}

Value::Entry lineOf(Position position) { return {"line", position.line}; }
Value::Entry columnOf(Position position) { return {"column", position.column}; }

Value jsonOf(const Place& place) {
  std::vector<Value::Entry> entries{lineOf(place.position), columnOf(place.position), {"path", place.path}};
  if (place.inText) {
    std::vector<Value::Entry> inner{{"path", place.inText->path}};
    if (const auto& position = place.inText->position) {
      inner.insert(inner.end(), {lineOf(*position), columnOf(*position)});
    }
    entries.push_back({"inText", Value::dictionary(inner)});
  }
  return Value::dictionary(entries);
}

Value jsonOf(const Explanation& explanation) {
  if (!explanation.unusable.empty()) {
    std::vector<Value::Entry> entries{{"file", explanation.file}, {"unusable", explanation.unusable}};
    if (explanation.unusableAt) {
      entries.push_back(
          {"place", Value::dictionary({lineOf(*explanation.unusableAt), columnOf(*explanation.unusableAt)})});
    }
    return Value::dictionary(entries);
  }
  std::vector<Value> findings;
  for (const Finding& finding : explanation.findings) {
    findings.push_back(Value::dictionary({{"level", nameOf(finding.level)},
                                          {"code", finding.code},
                                          {"place", jsonOf(finding.place)},
                                          {"text", finding.text},
                                          {"remedy", finding.remedy}}));
  }
  std::vector<Value::Entry> entries{{"file", explanation.file}};
  if (explanation.size > 0) entries.push_back({"bytes", explanation.size});
  entries.push_back({"findings", Value::list(findings)});
  std::vector<Value> happenings;
  for (const Happening& happening : explanation.happenings) happenings.push_back(jsonOf(happening));
  if (!happenings.empty()) entries.push_back({"happenings", Value::list(happenings)});
  return Value::dictionary(entries);
}

}  // namespace

std::string jsonReport(const std::vector<Explanation>& explanations) {
  std::vector<Value> files;
  std::size_t errors = 0;
  std::size_t warnings = 0;
  for (const Explanation& explanation : explanations) {
    files.push_back(jsonOf(explanation));
    errors += explanation.count(Level::error);
    warnings += explanation.count(Level::warning);
  }
  return prettyJSON(Value::dictionary({{"errors", errors}, {"warnings", warnings}, {"files", Value::list(files)}})) +
         '\n';
}

}  // namespace pellion

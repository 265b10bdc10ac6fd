#include "pellion/explain/explain.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "pellion/payload/aps_problems.h"
#include "pellion/payload/button_problems.h"
#include "pellion/payload/content_problems.h"
#include "pellion/payload/envelope.h"
#include "pellion/payload/key_problems.h"
#include "pellion/payload/link_problems.h"
#include "pellion/text/json_writer.h"
#include "services/url_components.h"
#include "value/ascii.h"

namespace pellion {
namespace {

ExplainPhone::Options phoneFor(const ExplainOptions& options) {
  ExplainPhone::Options phone = options.configuration ? options.configuration->phone : ExplainPhone::Options{};
  for (const std::string& name : options.urlSchemes) {
    const std::string& scheme = phone.urlSchemes.own.emplace_back(value::asciiLowercase(name));
    const auto components = services::parseURLComponents(scheme + ":");
    if (!components || components->scheme != scheme) {
      throw InputError("--scheme " + name + ": not the scheme of a URL; give its name alone, as in --scheme shop");
    }
  }
  return phone;
}

void append(Problems& all, Problems more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}
void append(Problems& all, const std::optional<Problem>& problem) {
  if (problem) all.push_back(*problem);
}

/// Whether the problem reports a missing key that exists, but is misspelt or misplaced.
bool isSaidBy(const Problems& keys, const Problem& problem) {
  return !problem.key.empty() && std::ranges::any_of(keys, [&](const Problem& key) {
    const JSONPath parent(key.spot.path.begin(), key.spot.path.end() - 1);
    return key.key == problem.key &&
           (key.code == "key-misplaced" || key.key == "addInfo" || parent == problem.spot.path);
  });
}

bool hasError(const Problems& problems) {
  return std::ranges::any_of(problems, [](const Problem& each) { return each.level == Level::error; });
}

std::size_t sizeOf(const Payload& payload) {
  const bool isSimulators = payload.value().find(simulatorTarget) != nullptr;
  return compactJSON(isSimulators ? without(payload.value(), {std::string(simulatorTarget)}) : payload.value()).size();
}

std::optional<Problem> sizeProblem(const Payload& payload, std::size_t limit) {
  const std::size_t size = sizeOf(payload);
  if (size <= limit) return std::nullopt;
  return Problem{"payload-too-large",
                 {},
                 "the payload has " + std::to_string(size) +
                     " bytes as compact JSON, and the push service rejects more than " + std::to_string(limit),
                 "shorten its texts, or let the application fetch what does not fit"};
}

std::size_t limitOf(const Payload& payload) {
  return payload.isVoIP ? Explanation::largestVoIPPayload : Explanation::largestPayload;
}

/// In the order of their places.
std::vector<Finding> findingsOf(const Payload& payload, Problems problems) {
  std::vector<Finding> findings;
  for (Problem& problem : problems) {
    findings.push_back({problem.level, std::move(problem.code), payload.place(problem.spot), std::move(problem.text),
                        std::move(problem.remedy), std::move(problem.correction)});
  }
  std::ranges::stable_sort(findings, {}, [](const Finding& finding) {
    const Position inner = finding.place.inText ? finding.place.inText->position.value_or(Position{}) : Position{};
    return std::tuple(finding.place.position.line, finding.place.position.column, inner.line, inner.column);
  });
  return findings;
}

std::string buttonNames(const Payload& payload) {
  std::string names;
  for (const std::string& name : buttonIdentifiers(payload)) names += (names.empty() ? "" : ", ") + inQuotes(name);
  return names;
}

}  // namespace

std::string Explanation::unusableText() const {
  return (unusableAt ? placeText(file, *unusableAt) : file) + ": " + unusable;
}

std::size_t Explanation::count(Level level) const {
  return static_cast<std::size_t>(std::ranges::count(findings, level, &Finding::level));
}

Explainer::Explainer(ExplainOptions options) : options_(std::move(options)), phone_(phoneFor(options_)) {
  phone_.observe([] {});
}

Payload Explainer::read(std::string_view file, std::string_view text) const {
  Payload payload = readPayload(file, text);
  payload.isVoIP |= options_.isVoIP;
  payload.schemes = phoneFor(options_).urlSchemes.own;
  payload.knowsSchemes = options_.isForPage || !options_.urlSchemes.empty() ||
                         (options_.configuration && options_.configuration->knowsSchemes);
  payload.isForPage = options_.isForPage;
  return payload;
}

Problems Explainer::problemsOf(Payload& payload) {
  Problems problems;
  phone_.inProcess([&] {
    inspect(payload);
    append(problems, addInfoProblem(payload));
    if (payload.content && payload.textProblem) {
      problems.push_back(
          {"addinfo-unusual",
           {false, payload.addInfoPlaces.front(), false, payload.textProblem->position()},
           "the module reads the text of \"addInfo\", but a strict reader does not: " + payload.textProblem->text(),
           "let a JSON library write the text",
           {},
           Level::warning});
    }
    if (payload.info() != nullptr) {
      append(problems, idProblem(payload));
      append(problems, buttonProblems(payload));
      append(problems, linkProblems(payload));
      append(problems, goalProblem(payload));
    }
    Problems keys = keyProblems(payload);
    std::erase_if(problems, [&](const Problem& problem) { return isSaidBy(keys, problem); });
    append(problems, apsProblems(payload));
    append(problems, templateProblems(payload));
    append(problems, sizeProblem(payload, limitOf(payload)));
    problems.insert(problems.begin(), std::make_move_iterator(keys.begin()), std::make_move_iterator(keys.end()));
  });
  if (payload.info() != nullptr && !hasError(problems)) append(problems, observed(payload));
  return problems;
}

/// What only shows when the module handles the payload.
Problems Explainer::observed(const Payload& payload) {
  Problems problems;
  const QuickLook look = lookQuickly(payload, phone_);
  if (look.failure) {
    problems.push_back({"not-counted",
                        {},
                        "the notification is not counted in full: " + *look.failure,
                        payload.isForPage ? "deliver it: the timeline shows where processing stops"
                                          : "pellion explain --all shows where processing stops"});
  }
  const std::optional<std::string> spelled = spelledGoal(payload);
  if (spelled && look.goal && !look.goal->empty() && *spelled != *look.goal) {
    problems.push_back({"goal-with-capitals",
                        {true, {"conversion"}},
                        "the goal is remembered as " + inQuotes(*look.goal) + "; an event reported as " +
                            inQuotes(*spelled) + ", as it is spelled here, does not reach it",
                        "write it in lower case, and have the event reported in lower case",
                        {},
                        Level::warning});
  }
  return problems;
}

/// The problems of the one response that --action asks for.
Problems Explainer::actionProblems(const Payload& payload, const Happening& happening) {
  if (happening.kind == Happening::Kind::unknownButton) {
    const std::string names = buttonNames(payload);
    const bool hasPlace = payload.info() != nullptr && payload.buttonsPath.has_value();
    return {
        {"action-unknown", hasPlace ? Spot{true, *payload.buttonsPath} : Spot{},
         "no button has the action " + inQuotes(happening.name) + (happening.raised ? ", and a tap on it raises" : ""),
         names.empty()
             ? "the payload has no button; leave the action out of the category, or describe it in \"actionButton\""
             : "the buttons are " + names}};
  }
  if (!happening.raised) return {};
  if (happening.kind == Happening::Kind::dismissal) {
    return {{"action-raises",
             {},
             "a dismissal raises " + happening.raised->name + ", because no button has its action",
             "let the notification's category not report dismissals"}};
  }
  return {{"action-raises",
           {},
           "the response raises " + happening.raised->name + ": " + happening.raised->reason,
           "pellion explain --all shows where processing stops"}};
}

Explanation Explainer::explain(std::string_view file, std::string_view text, bool withAccount) {
  Payload payload = read(file, text);
  Problems problems = problemsOf(payload);
  Explanation explanation{.file = payload.file,
                          .size = sizeOf(payload),
                          .limit = limitOf(payload),
                          .happenings = {},
                          .findings = {},
                          .unusable = {}};
  if (options_.action) {
    explanation.happenings = {observeAction(payload, phone_, *options_.action)};
    Problems ofAction = actionProblems(payload, explanation.happenings.front());
    const bool isSaid = hasError(problems) && explanation.happenings.front().kind <= Happening::Kind::button;
    if (!isSaid) append(problems, std::move(ofAction));
  } else if (withAccount) {
    explanation.happenings = observeHappenings(payload, phone_);
  }
  explanation.findings = findingsOf(payload, std::move(problems));
  return explanation;
}

std::string Explainer::corrected(std::string_view file, std::string_view text) {
  constexpr int mostCorrections = 200;
  Payload payload = read(file, repairedJSON(text));
  for (int i = 0; i < mostCorrections; ++i) {
    const Problems problems = problemsOf(payload);
    const auto next = std::ranges::find_if(problems, [](const Problem& each) { return !each.correction.empty(); });
    if (next == problems.end()) break;
    payload = read(file, compactJSON(pellion::corrected(payload, next->correction)));
  }
  return prettyJSON(payload.value());
}

std::string Explainer::corrected(std::string_view file, std::string_view text, std::size_t finding) {
  Payload payload = read(file, text);
  const std::vector<Finding> findings = findingsOf(payload, problemsOf(payload));
  if (finding >= findings.size() || findings[finding].correction.empty()) {
    throw InputError("no correction belongs to finding " + std::to_string(finding) +
                     " of this payload; explain the payload again");
  }
  return prettyJSON(pellion::corrected(payload, findings[finding].correction));
}

}  // namespace pellion

#include "pellion/explain/explain.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "pellion/document/json_writer.h"
#include "pellion/explain/explain_keys.h"
#include "services/url_components.h"
#include "value/ascii.h"

namespace pellion {
namespace {

std::vector<std::string> lowerCaseSchemes(const std::vector<std::string>& names) {
  std::vector<std::string> schemes;
  for (const std::string& name : names) {
    const std::string& scheme = schemes.emplace_back(value::asciiLowercase(name));
    const auto components = services::parseURLComponents(scheme + ":");
    if (!components || components->scheme != scheme) {
      throw InputError("--scheme " + name + ": not the scheme of a URL; give its name alone, as in --scheme shop");
    }
  }
  return schemes;
}

void append(std::vector<Problem>& all, std::vector<Problem> more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}
void append(std::vector<Problem>& all, const std::optional<Problem>& problem) {
  if (problem) all.push_back(*problem);
}

/// Whether the problem reports a missing key that exists, but is misspelt or misplaced.
bool isSaidBy(const std::vector<Problem>& keys, const Problem& problem) {
  return !problem.key.empty() && std::ranges::any_of(keys, [&](const Problem& key) {
    const JSONPath parent(key.spot.path.begin(), key.spot.path.end() - 1);
    return key.key == problem.key && (key.code == "key-misplaced" || parent == problem.spot.path);
  });
}

std::vector<Problem> problemsOf(const Payload& payload) {
  std::vector<Problem> problems;
  append(problems, addInfoProblem(payload));
  if (payload.content && payload.textProblem) {
    problems.push_back(
        {"addinfo-unusual",
         {false, payload.addInfoPlaces.front()},
         "the module reads the text of \"addInfo\", but a strict reader does not: " + payload.textProblem->text(),
         "let a JSON library write the text"});
  }
  if (payload.info() != nullptr) {
    append(problems, idProblem(payload));
    append(problems, buttonProblems(payload));
    append(problems, linkProblems(payload));
    append(problems, goalProblem(payload));
  }
  const std::vector<Problem> keys = keyProblems(payload);
  std::erase_if(problems, [&](const Problem& problem) { return isSaidBy(keys, problem); });
  problems.insert(problems.begin(), keys.begin(), keys.end());
  return problems;
}

/// The problem of a goal that is pending under a name with other capitals than in the payload.
std::optional<Problem> capitalsProblem(const std::vector<Happening>& happenings) {
  std::vector<const Happening*> goals;
  for (const Happening& happening : happenings) {
    if (happening.kind == Happening::Kind::goal && !happening.name.empty()) goals.push_back(&happening);
  }
  if (goals.size() < 2) return std::nullopt;
  return Problem{"goal-with-capitals",
                 {true, {"conversion"}},
                 "the goal is remembered as " + inQuotes(goals[0]->name) + "; an event reported as " +
                     inQuotes(goals[1]->name) + ", as it is spelled here, does not reach it",
                 "write it in lower case, and have the event reported in lower case"};
}

/// Reports what no other problem explains: something happens that the payload describes, and it is not counted.
std::optional<Problem> uncountedProblem(const std::vector<Happening>& happenings) {
  for (const Happening& happening : happenings) {
    if (!happening.isDescribed() || happening.isCounted()) continue;
    const std::string why = happening.raised ? happening.raised->reason : happening.recorded.why;
    return Problem{"not-counted", {}, "the notification is not counted in full: " + why, "see above where it stopped"};
  }
  return std::nullopt;
}

std::optional<Problem> sizeProblem(const Explanation& explanation) {
  if (explanation.size <= Explanation::largestPayload) return std::nullopt;
  return Problem{"payload-too-large",
                 {},
                 "the payload has " + std::to_string(explanation.size) +
                     " bytes as compact JSON; the push service takes " + std::to_string(Explanation::largestPayload) +
                     ", so that nothing of the above comes about",
                 "shorten its texts, or let the application fetch what does not fit"};
}

}  // namespace

Explanation explain(std::string_view file, std::string_view text, const ExplainOptions& options) {
  const std::vector<std::string> schemes = lowerCaseSchemes(options.urlSchemes);
  JSONNode root = readPayload(file, text);
  Explanation explanation{
      .file = std::string(file), .size = compactJSON(root.value).size(), .happenings = {}, .findings = {}};

  ExplainPhone phone(schemes);
  phone.observe([] {});
  Payload payload;
  std::vector<Problem> problems;
  phone.inProcess([&] {
    payload = inspect(file, std::move(root));
    problems = problemsOf(payload);
  });
  std::vector<Happening> all = observeHappenings(payload, phone);
  append(problems, capitalsProblem(all));
  append(problems, sizeProblem(explanation));
  if (problems.empty()) append(problems, uncountedProblem(all));
  if (options.action) all = {observeAction(payload, phone, *options.action)};
  explanation.happenings = std::move(all);
  for (Problem& problem : problems) {
    explanation.findings.push_back(
        {std::move(problem.code), payload.place(problem.spot), std::move(problem.text), std::move(problem.remedy)});
  }
  std::ranges::stable_sort(explanation.findings, {}, [](const Finding& finding) {
    const Position inner = finding.place.inText ? finding.place.inText->position.value_or(Position{}) : Position{};
    return std::tuple(finding.place.position.line, finding.place.position.column, inner.line, inner.column);
  });
  return explanation;
}

}  // namespace pellion

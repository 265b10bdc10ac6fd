#include "pellion/commands/new_command.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "pellion/backend/backend.h"
#include "pellion/document/notification_shape.h"
#include "pellion/document/presentation.h"
#include "pellion/explain/explain.h"
#include "pellion/payload/link_text.h"
#include "pellion/payload/payload.h"
#include "pellion/run/scenario_run.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/steps/observed_expectation.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/input_file.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/output_file.h"
#include "pellion/text/text_width.h"
#include "services/url_components.h"
#include "services/url_loading/network.h"
#include "value/ascii.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;
using platform::Value;

/// What the scenario says of its notification.
struct Draft {
  std::string file;
  bool isForOutput = false;  ///< it is written to standard output
  bool reachesUser = true;   ///< a phone shows the notification or wakes the application for it
  std::string notification;  ///< its name
  std::string content;       ///< the lines that describe it
  std::vector<Value> urlSchemes;
  std::optional<std::string> goal;     ///< the event that converts it
  std::optional<std::string> payload;  ///< the text of the caller's, if there is one
};

constexpr std::string_view exampleContent = R"({
      "payload": { "aps": { "alert": "Only today: half price" } },
      // What the module reads: it becomes JSON text in the payload.
      "addInfo": {
        "pellionPnID": 41,
        "clickAction": "shop://sale",
        "conversion": { "group": "shop", "event": "purchase" }
      }
    })";

constexpr std::string_view scenarioForm = R"(// Run it: pellion run FILE
// Each step and entry: docs/scenario.md. For editors: pellion schema > scenario.schema.json
{
  "name": TITLE,
  // The application's own URL schemes: change them to those of your application.
  "urlSchemes": SCHEMES,
  "notifications": {
COMMENT    // Change the payload, or give the name of a file that holds one: "payload": "sale.json".
    NAME: CONTENT
  },
  // Without a "configuration" a complete default one is used.
  // The expectations are what a trial run has shown: change them to what you want to hold.
  "steps": [
    "launch",
    { "token": "0aff00d1e2f30415" },
    EXPECTED

    // For the application in the background: "deliverInBackground".
    { "deliver": NAME },
    EXPECTED

    // For another response: "dismiss", or { "respond": { "to": NAME, "with": "a button's action" } }.
    { "tap": NAME },
    EXPECTED
)";
constexpr std::string_view conversionForm = R"(
    // The event that counts as a conversion: group and event of the payload.
    { "goal": GOAL },
    EXPECTED
)";

/// Whether the delivery and the responses are counted, as the trial run has shown: the expectations after the first,
/// which follows the token. Yes as long as that is unknown.
enum class Counted { all, some, none };
Counted countedIn(const std::vector<Value>& expectations) {
  const auto isCounted = [](const Value& expectation) {
    const Value* statistics = expectation.find("statistics");
    return statistics != nullptr && !statistics->elements().empty();
  };
  if (expectations.empty() || std::all_of(expectations.begin() + 1, expectations.end(), isCounted)) return Counted::all;
  return std::any_of(expectations.begin() + 1, expectations.end(), isCounted) ? Counted::some : Counted::none;
}

std::string titleOf(const Draft& draft, Counted counted) {
  if (!draft.reachesUser) return "Neither shown nor delivered by a phone";
  constexpr const char* titles[] = {"Delivered, tapped, counted", "Delivered, tapped, counted in part",
                                    "Delivered, tapped, not counted"};
  return titles[static_cast<std::size_t>(counted)];
}

std::string commentOf(const Draft& draft, Counted counted) {
  if (!draft.reachesUser) {
    return "    // A phone neither shows this nor wakes the application for it: see \"aps\". What follows is what the\n"
           "    // module would do. pellion explain shows more.\n";
  }
  constexpr const char* comments[] = {"", "    // Not every event is counted. pellion explain shows why.\n",
                                      "    // This is not counted. pellion explain shows why.\n"};
  return comments[static_cast<std::size_t>(counted)];
}

/// Fills in the words in capital letters.
std::string scenarioText(const Draft& draft, const std::vector<Value>& expectations) {
  auto expectation = expectations.begin();
  const auto nextExpectation = [&] {  // as long as they are unknown, one that permits an exception
    const Value wanted = expectation == expectations.end() ? Value::dictionary({{"raised", ""}}) : *expectation++;
    return "{ \"expect\": " + spacedJSON(wanted) + " },";
  };
  const std::pair<std::string_view, std::function<std::string()>> words[] = {
      {"FILE", [&] { return draft.isForOutput ? "FILE" : printable(fs::path(draft.file).filename().string()); }},
      {"TITLE", [&] { return compactJSON(titleOf(draft, countedIn(expectations))); }},
      {"COMMENT", [&] { return commentOf(draft, countedIn(expectations)); }},
      {"SCHEMES", [&] { return spacedJSON(Value::list(draft.urlSchemes)); }},
      {"NAME", [&] { return compactJSON(draft.notification); }},
      {"CONTENT", [&] { return draft.content; }},
      {"GOAL", [&] { return compactJSON(draft.goal.value_or("")); }},
      {"EXPECTED", nextExpectation}};
  const std::string form = std::string(scenarioForm) + std::string(draft.goal ? conversionForm : "") + "  ],\n}\n";
  std::string text;
  for (std::string_view rest = form; !rest.empty();) {
    const auto* const word =
        std::ranges::find_if(words, [&](const auto& each) { return rest.starts_with(each.first); });
    text += word == std::end(words) ? std::string(rest.substr(0, 1)) : word->second();
    rest.remove_prefix(word == std::end(words) ? 1 : word->first.size());
  }
  return text;
}

/// Adds what the module reads in the payload to the draft.
void readInfo(Draft& draft, const Value& info) {
  std::vector<const Value*> links{info.find("clickAction")};
  if (const Value* buttons = info.find("actionButton")) {
    for (const Value& button : buttons->elements()) links.push_back(button.find("clickAction"));
  }
  constexpr std::string_view everyPhones[] = {"http", "https", "mailto", "tel", "sms", "facetime", "itms-apps"};
  for (const Value* link : links) {
    const auto parts = link == nullptr ? std::nullopt : services::parseURLComponents(link->text());
    if (!parts || !parts->scheme) continue;
    const auto fault = linkFault(link->text(), [](const std::string& /*scheme*/) { return false; });
    if (fault && fault->code == "link-scheme-misspelt") continue;  // of which the payload's findings warn
    const Value scheme = value::asciiLowercase(*parts->scheme);
    if (std::ranges::find(everyPhones, scheme.text()) == std::end(everyPhones) &&
        std::ranges::find(draft.urlSchemes, scheme) == draft.urlSchemes.end()) {
      draft.urlSchemes.push_back(scheme);
    }
  }
  const Value* goal = info.find("conversion");
  const Value* group = goal == nullptr ? nullptr : goal->find("group");
  const Value* event = goal == nullptr ? nullptr : goal->find("event");
  if (group == nullptr || event == nullptr || !group->ifString() || !event->ifString()) return;
  draft.goal = value::asciiLowercase(std::string(group->text()) + "_" + std::string(event->text()));
}

/// Also ".json5" and ".jsonc" are names for what a scenario is.
std::string withExtension(const std::string& name) {
  return fs::path(name).extension().native().starts_with(".json") ? name : name + ".json";
}

/// The lines that describe a payload in the scenario itself.
std::string embedded(const Value& payload) {
  std::string text = "{ \"payload\": ";
  for (const char character : prettyJSON(payload)) text.append(1, character).append(character == '\n' ? "    " : "");
  return text + " }";
}

Draft draftOf(const NewArguments& arguments) {
  const bool isForOutput = arguments.name == "-";
  Draft draft{.file = isForOutput ? "standard output" : withExtension(arguments.name),
              .isForOutput = isForOutput,
              .reachesUser = true,
              .notification = "sale",
              .content = std::string(exampleContent),
              .urlSchemes = {},
              .goal = {},
              .payload = {}};
  if (!arguments.payload) {
    const JSONNode example = readJSON("", exampleContent, JSONForm::commented);
    readInfo(draft, example.find("addInfo")->value);
    return draft;
  }
  const std::string& file = *arguments.payload;
  draft.payload = readInputFile(file, payloadFile);
  const Payload read = readPayload(inputName(file), *draft.payload);
  if (!read.envelope.empty()) {
    throw InputError(inputName(file) + ": " + read.envelope +
                     "; write the payload alone to a file and give that: pellion explain --fix " + file +
                     " > payload.json");
  }
  const JSONNode& payload = read.root;
  draft.reachesUser = isPresented(payload.value) || wakesApplication(payload.value);
  const fs::path directory = fs::absolute(draft.file).parent_path();
  draft.notification = file == "-" ? "notification" : fs::path(file).stem().string();
  draft.content = file == "-" ? embedded(payload.value)
                              : "{ \"payload\": " + compactJSON(fs::proximate(file, directory).string()) + " }";
  try {
    if (const JSONNode* info = payload.find("addInfo")) readInfo(draft, readJSON("", info->value.text()).value);
  } catch (const DocumentError&) {  // the module reads nothing there either, or raises, which the trial run shows
  }
  return draft;
}

/// Runs in place of an expectation; reports the expectation that holds here.
void observe(ScenarioRun& run, const JSONNode& /*anything*/) {
  run.report("expectation", "observed", observedExpectation(run, ObservedParts::requests));
}

/// What each expectation of the scenario would find.
std::vector<Value> tryOut(const Draft& draft) {
  std::vector<StepKind> kinds(stepKinds().begin(), stepKinds().end());
  StepKind& expectation = *std::ranges::find(kinds, "expect", &StepKind::name);
  expectation.shape = &shapes::any;
  expectation.run = observe;
  const Scenario scenario = readScenario(draft.file, scenarioText(draft, {}), kinds);
  std::vector<Value> found;
  services::Network network;
  ScenarioRun run(scenario, network, {.sink = [&](const host::Event& event) {
                    if (event.what == "observed") found.push_back(event.details);
                  }});
  if (!run.run()) {
    throw InputError(draft.file +
                     ": a trial run failed; run pellion explain on the payload, which shows where it stops");
  }
  return found;
}

/// Throws InputError for a file that must not or cannot be written.
void refuseUnusableFile(const std::string& file, const NewArguments& arguments) {
  if (arguments.payload) refuseToOverwrite(*arguments.payload, "NAME", file);
  std::error_code ignored;
  if (!arguments.overwrites && fs::exists(fs::symlink_status(file, ignored))) {
    throw InputError(file + ": exists already; give another NAME, or replace it with --force");
  }
  if (!fs::is_directory(fs::absolute(file).parent_path(), ignored)) {
    throw InputError(file + ": No such file or directory; give a NAME in a directory that exists");
  }
}

/// Says what is wrong with the payload: the scenario passes in spite of it.
void warn(const Draft& draft, const std::string& payload, Counted counted, const Surroundings& surroundings) {
  std::vector<std::string> schemes;
  for (const Value& scheme : draft.urlSchemes) schemes.emplace_back(scheme.text());
  const Explanation explanation = Explainer({.urlSchemes = schemes}).explain(payload, *draft.payload, false);
  if (counted != Counted::all) {
    surroundings.err << "warning: the scenario expects that "
                     << (counted == Counted::none ? "nothing" : "not everything")
                     << " is counted: change it once the payload is correct\n";
  }
  writeFindings(surroundings.err, explanation, {});
}

}  // namespace

void writeNewScenario(const NewArguments& arguments, const Surroundings& surroundings) {
  if (arguments.name.empty()) throw InputError("NAME is empty; give the name of the file to write");
  const Draft draft = draftOf(arguments);
  if (!draft.isForOutput) refuseUnusableFile(draft.file, arguments);
  surroundings.cleanUpOnSignal(&TemporaryDirectory::removeAll);
  const std::vector<Value> expectations = tryOut(draft);
  const std::string text = scenarioText(draft, expectations);
  if (draft.isForOutput) {
    surroundings.out << text;
  } else {
    OutputFile file(draft.file, "NAME", OutputFile::toBeHandedOn);
    file.stream() << text;
    file.close("scenario");
    surroundings.out << draft.file << " is written; it passes as it is: pellion run " << draft.file << '\n';
  }
  if (draft.payload) warn(draft, inputName(*arguments.payload), countedIn(expectations), surroundings);
}

}  // namespace pellion

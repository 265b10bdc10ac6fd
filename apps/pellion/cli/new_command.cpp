#include "pellion/cli/new_command.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "pellion/backend/backend.h"
#include "pellion/document/notification_shape.h"
#include "pellion/payload/payload.h"
#include "pellion/run/scenario_run.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/input_file.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/output_file.h"
#include "pellion/text/text_width.h"
#include "services/http/network.h"
#include "services/url_components.h"
#include "value/ascii.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;
using platform::Value;

/// What the scenario says of its notification.
struct Draft {
  std::string file;
  std::string notification;  ///< its name
  std::string content;       ///< the lines that describe it
  std::vector<Value> urlSchemes;
  std::optional<std::string> goal;  ///< the event that converts it
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

/// On one line, with a space after each comma and colon.
std::string spacedJSON(const Value& value) {
  std::string text;
  for (const Value::Entry& entry : value.entries()) {
    text.append(text.empty() ? "{ " : ", ").append(compactJSON(entry.key)).append(": ").append(spacedJSON(entry.value));
  }
  if (!text.empty()) return text + " }";
  for (const Value& element : value.elements()) text.append(text.empty() ? "[" : ", ").append(spacedJSON(element));
  return text.empty() ? compactJSON(value) : text + "]";
}

constexpr std::string_view scenarioForm = R"(// Run it: pellion run FILE
// Each step and entry: docs/scenario.md. For editors: pellion schema > scenario.schema.json
{
  "name": "Delivered, tapped, counted",
  // The application's own URL schemes: change them to those of your application.
  "urlSchemes": SCHEMES,
  "notifications": {
    // Change the payload, or give the name of a file that holds one: "payload": "sale.json".
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

/// Fills in the words in capital letters.
std::string scenarioText(const Draft& draft, const std::vector<Value>& expectations) {
  auto expectation = expectations.begin();
  const auto nextExpectation = [&] {  // as long as they are unknown, one that permits an exception
    const Value wanted = expectation == expectations.end() ? Value::dictionary({{"raised", ""}}) : *expectation++;
    return "{ \"expect\": " + spacedJSON(wanted) + " },";
  };
  const std::pair<std::string_view, std::function<std::string()>> words[] = {
      {"FILE", [&] { return printable(fs::path(draft.file).filename().string()); }},
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

Draft draftOf(const NewArguments& arguments) {
  Draft draft{.file = arguments.name.ends_with(".json") ? arguments.name : arguments.name + ".json",
              .notification = "sale",
              .content = std::string(exampleContent),
              .urlSchemes = {},
              .goal = {}};
  if (!arguments.payload) {
    const JSONNode example = readJSON("", exampleContent, JSONForm::commented);
    readInfo(draft, example.find("addInfo")->value);
    return draft;
  }
  const std::string& file = *arguments.payload;
  const Payload read = readPayload(file, readInputFile(file, payloadFile));
  if (!read.envelope.empty()) {
    throw InputError(file + ": " + read.envelope + "; write the payload alone to a file and give that");
  }
  const JSONNode& payload = read.root;
  const fs::path directory = fs::absolute(draft.file).parent_path();
  draft.notification = fs::path(file).stem().string();
  draft.content = "{ \"payload\": " + compactJSON(fs::proximate(file, directory).string()) + " }";
  try {
    if (const JSONNode* info = payload.find("addInfo")) readInfo(draft, readJSON("", info->value.text()).value);
  } catch (const DocumentError&) {  // the module reads nothing there either, or raises, which the trial run shows
  }
  return draft;
}

Value expectedRequest(const ReceivedRequest& request) {
  if (const std::string* token = request.findHeader("notificationid")) {
    return Value::dictionary({{"headers", Value::dictionary({{"notificationid", *token}})}});
  }
  return Value::dictionary({{"method", request.method}, {"path", std::string(request.path())}});
}

/// Runs in place of an expectation; reports the expectation that holds here.
void observe(ScenarioRun& run, const JSONNode& /*anything*/) {
  std::vector<Value> requests;
  std::vector<Value> statistics;
  for (const ReceivedRequest& request : run.takeRequests()) {
    const Value* entries =
        request.decodedBody && request.decodedBody->json ? request.decodedBody->json->find("pnstats") : nullptr;
    if (entries == nullptr) {
      requests.push_back(expectedRequest(request));
      continue;
    }
    for (const Value& entry : entries->elements()) {
      std::vector<Value::Entry> wanted;
      for (const char* name : {"notificationid", "status", "actionid"}) {
        if (const Value* value = entry.find(name)) wanted.push_back({name, *value});
      }
      statistics.push_back(Value::dictionary(wanted));
    }
  }
  std::vector<Value::Entry> expectation;
  if (const std::vector<std::string> raised = run.takeRaised(); !raised.empty()) {
    // Without the address of an object, which differs from run to run.
    expectation.push_back({"raised", raised.front().substr(0, raised.front().find(" 0x"))});
  }
  if (!requests.empty()) expectation.push_back({"requests", Value::list(requests)});
  if (requests.empty() || !statistics.empty()) expectation.push_back({"statistics", Value::list(statistics)});
  for (const auto& [what, name] : {std::pair("opened URL", "opened"), std::pair("refused URL", "refused")}) {
    std::vector<Value> urls;
    for (const Value& details : run.take("platform", what)) urls.push_back(*details.find("url"));
    if (!urls.empty()) expectation.push_back({name, Value::list(urls)});
  }
  run.report("expectation", "observed", Value::dictionary(expectation));
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

}  // namespace

void writeNewScenario(const NewArguments& arguments, const Surroundings& surroundings) {
  const Draft draft = draftOf(arguments);
  if (arguments.payload) refuseToOverwrite(*arguments.payload, "NAME", draft.file);
  std::error_code ignored;
  if (!arguments.overwrites && fs::exists(fs::symlink_status(draft.file, ignored))) {
    throw InputError(draft.file + ": exists already; give another NAME, or replace it with --force");
  }
  if (!fs::is_directory(fs::absolute(draft.file).parent_path(), ignored)) {
    throw InputError(draft.file + ": No such file or directory; give a NAME in a directory that exists");
  }
  surroundings.cleanUpOnSignal(&TemporaryDirectory::removeAll);
  const std::string text = scenarioText(draft, tryOut(draft));
  OutputFile file(draft.file, "NAME", OutputFile::toBeHandedOn);
  file.stream() << text;
  file.close("scenario");
  surroundings.out << draft.file << " is written; it passes as it is: pellion run " << draft.file << '\n';
}

}  // namespace pellion

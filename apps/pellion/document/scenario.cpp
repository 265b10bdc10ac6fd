#include "pellion/document/scenario.h"

#include <algorithm>
#include <filesystem>

#include "pellion/document/configuration_check.h"
#include "pellion/document/notification_shape.h"
#include "pellion/text/similar_name.h"
#include "services/core_library/configuration.h"
#include "value/ascii.h"

namespace pellion {
namespace {

const Shape notificationsByName{"an object of notifications by name", isObject, {}, &notificationShape};
const Shape listOfSteps{"a list of at least one step, such as \"launch\"",
                        [](const platform::Value& value) { return isList(value) && !value.elements().empty(); }};
const Field documentFields[] = {{"name", &shapes::text},
                                {"description", &shapes::text},
                                {"configuration", &sharedConfigurationShape},
                                {"urlSchemes", &shapes::schemes},
                                {"queriedSchemes", &shapes::schemes},
                                {"installedSchemes", &shapes::schemes},
                                {"notifications", &notificationsByName},
                                {"delegates", &delegatesShape},
                                {"application", &applicationShape},
                                {"steps", &listOfSteps, true},
                                {"$schema", &shapes::text}};
const Shape documentShape{"an object", isObject, documentFields};

using Kinds = std::span<const StepKind>;

const StepKind& kindNamed(std::string_view file, Position position, std::string_view name, Kinds kinds) {
  const auto kind = std::ranges::find(kinds, name, &StepKind::name);
  if (kind == kinds.end()) {
    std::vector<std::string_view> names;
    for (const StepKind& each : kinds) names.push_back(each.name);
    throw errorAt(file, position,
                  "there is no step \"" + std::string(name) + "\"; " + remedyForName(name, names, "the steps are"));
  }
  return *kind;
}

/// Collects secrets wherever they occur, so that no error shows one in the wrong place.
void collectSecrets(const JSONNode& node, std::vector<std::string>& secrets) {
  for (const JSONMember& member : node.members) {
    const bool isSecret = member.name == "BEARER_TOKEN" || member.name == "JWT_SECRET";
    if (isSecret) secrets.emplace_back(member.value.value.text());
    collectSecrets(member.value, secrets);
  }
  for (const JSONNode& element : node.elements) collectSecrets(element, secrets);
}

/// {"name": argument}, or "name" alone for {"name": {}}. An argument that is no object may be short for one.
/// Adds the secrets in the files that it names.
Step readStep(std::string_view file, const JSONNode& node, Kinds kinds, std::vector<std::string>& secrets) {
  Step step{nullptr, node.position, {node.position, platform::Value::dictionary({}), {}, {}}};
  if (const auto name = node.value.ifString()) {
    step.kind = &kindNamed(file, node.position, *name, kinds);
  } else if (node.members.size() == 1) {
    step.kind = &kindNamed(file, node.members.front().position, node.members.front().name, kinds);
    step.argument = node.members.front().value;
  } else {
    throw errorAt(file, node.position,
                  R"(a step is an object with one entry, such as {"advance": 3}, or a name alone, such as "launch")");
  }
  if (!step.kind->shorthand.empty() && !isObject(step.argument.value)) {
    const JSONNode& entry = step.argument;
    const std::string name(step.kind->shorthand);
    step.argument = {
        entry.position, platform::Value::dictionary({{name, entry.value}}), {{entry.position, name, entry}}, {}};
  }
  includeFiles(file, step.argument, *step.kind->shape);
  collectSecrets(step.argument, secrets);
  checkShape(file, step.argument, *step.kind->shape, "\"" + std::string(step.kind->name) + "\"");
  if (step.kind->holdsSteps) {
    for (const JSONNode& held : step.argument.find("steps")->elements) {
      step.steps.push_back(readStep(file, held, kinds, secrets));
    }
  }
  return step;
}

/// Checks that each step finds a running application or none, as it requires, after the steps before it. Steps that
/// another one holds may run any number of times, so they cannot start the application.
void checkOrder(std::string_view file, const std::vector<Step>& steps, bool isRunning, bool areHeld) {
  for (const Step& step : steps) {
    const std::string name = "\"" + std::string(step.kind->name) + "\"";
    if (step.kind->needs == StepKind::Needs::process && !isRunning) {
      throw errorAt(file, step.position, name + " needs a running application; put a \"launch\" before it");
    }
    if (step.kind->needs == StepKind::Needs::noProcess) {
      if (isRunning || areHeld) {
        throw errorAt(
            file, step.position,
            name + " needs an application that is not running; \"relaunch\" ends the running one and starts it again");
      }
      isRunning = true;
    }
    if (step.kind->endsProcess) isRunning = false;
    checkOrder(file, step.steps, isRunning, true);
  }
}

/// Checks what the steps require of the scenario.
void checkSteps(const Scenario& scenario, const std::vector<Step>& steps) {
  for (const Step& step : steps) {
    if (step.kind->check != nullptr) step.kind->check(scenario, step.argument);
    checkSteps(scenario, step.steps);
  }
}

std::vector<std::string> readSchemes(const JSONNode& document, std::string_view name) {
  std::vector<std::string> schemes;
  const JSONNode* list = document.find(name);
  if (list == nullptr) return schemes;
  for (const JSONNode& scheme : list->elements) schemes.push_back(value::asciiLowercase(scheme.value.text()));
  return schemes;
}

void refuseOtherDocument(std::string_view file, const JSONNode& document) {
  if (document.find("steps") != nullptr) return;
  if (document.find("aps") != nullptr || document.find("addInfo") != nullptr) {
    throw errorAt(file, document.position, "this is a payload, not a scenario; pellion explain reads it");
  }
  const auto keys = services::configurationKeys();
  const auto isEntry = [&](const JSONMember& member) { return std::ranges::find(keys, member.name) != keys.end(); };
  if (std::ranges::any_of(document.members, isEntry)) {
    throw errorAt(file, document.position,
                  "this is a configuration, not a scenario; name it in one: \"configuration\": \"" +
                      std::filesystem::path(file).filename().string() + "\"");
  }
}

/// The name that a scenario without one has: that of its file, without the extension.
std::string defaultName(std::string_view file) { return std::filesystem::path(file).stem().string(); }

Scenario checkedScenario(std::string_view file, const JSONNode& document, Kinds kinds,
                         std::vector<std::string>& secrets) {
  refuseOtherDocument(file, document);
  checkShape(file, document, documentShape, "a scenario");
  Scenario scenario{.file = std::string(file),
                    .name = defaultName(file),
                    .description = {},
                    .configuration = {},
                    .hasDefaultConfiguration = document.find("configuration") == nullptr,
                    .urlSchemes = {.own = readSchemes(document, "urlSchemes"),
                                   .queried = readSchemes(document, "queriedSchemes"),
                                   .installed = readSchemes(document, "installedSchemes")},
                    .notifications = platform::Value::dictionary({}),
                    .application = readApplication(file, document.find("delegates"), document.find("application")),
                    .steps = {},
                    .redaction = Redaction({}),
                    .files = {}};
  if (const JSONNode* name = document.find("name")) scenario.name = name->value.text();
  scenario.configuration = scenario.hasDefaultConfiguration ? defaultConfiguration() : *document.find("configuration");
  if (const JSONNode* description = document.find("description")) scenario.description = description->value.text();
  if (const JSONNode* notifications = document.find("notifications")) scenario.notifications = notifications->value;
  for (const JSONNode& step : document.find("steps")->elements) {
    scenario.steps.push_back(readStep(file, step, kinds, secrets));
  }
  scenario.redaction = Redaction(secrets);
  checkOrder(file, scenario.steps, false, false);
  checkSteps(scenario, scenario.steps);
  checkConfigurationSize(file, configurationsOf(scenario));
  return scenario;
}

/// Passes over what is not as it should be: reading the scenario reports that.
void collectFilesOfSteps(std::string_view file, const JSONNode* steps, Kinds kinds, std::vector<NamedFile>& files) {
  if (steps == nullptr) return;
  for (const JSONNode& step : steps->elements) {
    if (step.members.size() != 1) continue;
    const JSONNode& argument = step.members.front().value;
    const auto kind = std::ranges::find(kinds, step.members.front().name, &StepKind::name);
    if (kind == kinds.end()) continue;
    collectFiles(file, argument, *kind->shape, files);
    if (kind->holdsSteps) collectFilesOfSteps(file, argument.find("steps"), kinds, files);
  }
}

}  // namespace

std::vector<NamedFile> filesNamedIn(std::string_view file, const JSONNode& document, std::span<const StepKind> kinds) {
  std::vector<NamedFile> files;
  collectFiles(file, document, documentShape, files);
  collectFilesOfSteps(file, document.find("steps"), kinds, files);
  return files;
}

Scenario readScenario(std::string_view file, std::string_view text, std::span<const StepKind> kinds) {
  return readScenario(file, readJSON(file, text, JSONForm::commented), kinds);
}

Scenario readScenario(std::string_view file, JSONNode document, std::span<const StepKind> kinds) {
  std::vector<NamedFile> files = filesNamedIn(file, document, kinds);
  std::vector<std::string> secrets;
  collectSecrets(document, secrets);
  try {
    includeFiles(file, document, documentShape);
    collectSecrets(document.find("configuration") == nullptr ? defaultConfiguration() : document, secrets);
    Scenario scenario = checkedScenario(file, document, kinds, secrets);
    scenario.files = std::move(files);
    return scenario;
  } catch (const DocumentError& error) {  // keeps its place, even where the place reads like a secret
    throw errorAt(file, error.position(), Redaction(secrets).text(error.text()));
  }
}

std::vector<Step> readSteps(const Scenario& scenario, const JSONNode& list, std::span<const StepKind> kinds) {
  std::vector<std::string> secrets;
  collectSecrets(list, secrets);
  try {
    std::vector<Step> steps;
    for (const JSONNode& step : list.elements) steps.push_back(readStep(scenario.file, step, kinds, secrets));
    checkOrder(scenario.file, steps, true, false);
    checkSteps(scenario, steps);
    return steps;
  } catch (const DocumentError& error) {
    throw errorAt(scenario.file, error.position(), Redaction(secrets).text(error.text()));
  }
}

std::vector<const JSONNode*> configurationsOf(const Scenario& scenario) {
  std::vector<const JSONNode*> nodes{&scenario.configuration};
  for (const Step& step : scenario.steps) {
    if (step.kind->shape == &configurationShape || step.kind->name == "consent") nodes.push_back(&step.argument);
  }
  return nodes;
}

}  // namespace pellion

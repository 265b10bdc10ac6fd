#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/phone/url_schemes.h"
#include "pellion/document/application_description.h"
#include "pellion/document/shape.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/redaction.h"

namespace pellion {

class ScenarioPhone;
class ScenarioRun;
struct Scenario;

/// What a step does: to a phone, wherever that lives, or to one run of a scenario.
struct StepFunction {
  using OnPhone = void (*)(ScenarioPhone& phone, const JSONNode& argument);
  using OnRun = void (*)(ScenarioRun& run, const JSONNode& argument);
  constexpr StepFunction(OnPhone function)
      : onPhone(function) {}                                   // NOLINT(google-explicit-constructor): rows of tables
  constexpr StepFunction(OnRun function) : onRun(function) {}  // NOLINT(google-explicit-constructor)
  OnPhone onPhone = nullptr;
  OnRun onRun = nullptr;
};

/// One kind of step: a row of the table in scenario_steps.cpp. A new kind is a new row.
struct StepKind {
  /// The state that the step requires and that it leaves behind.
  enum class Needs { nothing, noProcess, process };

  std::string_view name;
  const Shape* shape;
  StepFunction run;
  Needs needs;
  bool needsBackend = false;  ///< makes no sense against an external server
  /// Checks what else such a step requires of the scenario, for example that names are known. Throws InputError.
  void (*check)(const Scenario& scenario, const JSONNode& argument) = nullptr;
  std::string_view shorthand = {};  ///< the entry that an argument which is no object stands for
  bool holdsSteps = false;          ///< its entry "steps" is a list of steps
  bool endsProcess = false;         ///< leaves no process, although it needs one
};

struct Step {
  const StepKind* kind;
  Position position;
  JSONNode argument;
  std::vector<Step> steps = {};  ///< those that it holds
};

/// A checked scenario document. docs/scenario.md describes it; docs/scenario.schema.json describes it for tools.
struct Scenario {
  std::string file;
  std::string name;  ///< the file's, without extension, if it has none of its own
  std::string description;
  JSONNode configuration;
  bool hasDefaultConfiguration = false;  ///< it brings none
  host::URLSchemes urlSchemes;
  platform::Value notifications;  ///< by name, as in notificationShape
  ApplicationDescription application;
  std::vector<Step> steps;
  Redaction redaction;           ///< of the secrets that occur anywhere in it
  std::vector<NamedFile> files;  ///< that it names, and that have been read: payloads and a configuration
};

/// Reads a scenario of these kinds of steps. Throws InputError: "file:line:column: what is wrong; what would be right".
Scenario readScenario(std::string_view file, std::string_view text, std::span<const StepKind> kinds);

/// The same for a scenario inside another document, which names `file` in errors.
Scenario readScenario(std::string_view file, JSONNode document, std::span<const StepKind> kinds);

/// Reads a list of steps inside another document, for a running application.
std::vector<Step> readSteps(const Scenario& scenario, const JSONNode& list, std::span<const StepKind> kinds);

/// The payload and configuration files that a scenario names.
std::vector<NamedFile> filesNamedIn(std::string_view file, const JSONNode& document, std::span<const StepKind> kinds);

/// The configuration and the changes that the steps make to it.
std::vector<const JSONNode*> configurationsOf(const Scenario& scenario);

}  // namespace pellion

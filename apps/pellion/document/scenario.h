#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/phone/process.h"
#include "pellion/document/application_description.h"
#include "pellion/document/json_reader.h"
#include "pellion/document/redaction.h"
#include "pellion/document/shape.h"

namespace pellion {

class ScenarioRun;
struct Scenario;

/// One kind of step: a row of the table in scenario_steps.cpp. A new kind is a new row.
struct StepKind {
  /// What must be so before the step, and what is so after it.
  enum class Needs { nothing, noProcess, process };

  std::string_view name;
  const Shape* shape;
  void (*run)(ScenarioRun& run, const JSONNode& argument);
  Needs needs;
  bool needsBackend = false;  ///< makes no sense against a server that is not ours
  /// What else must be so in a scenario with such a step, whose names must be known, say. Throws InputError.
  void (*check)(const Scenario& scenario, const JSONNode& argument) = nullptr;
};

struct Step {
  const StepKind* kind;
  Position position;
  JSONNode argument;
};

/// A scenario document, checked: docs/scenario.md describes it, docs/scenario.schema.json says the same to tools.
struct Scenario {
  std::string file;
  std::string name;
  std::string description;
  JSONNode configuration;
  host::URLSchemes urlSchemes;
  platform::Value notifications;  ///< by name, as notificationShape says
  ApplicationDescription application;
  std::vector<Step> steps;
  Redaction redaction;  ///< of the secrets that stand anywhere in it
};

/// A scenario of these kinds of steps. Throws InputError: "file:line:column: what is wrong; what would be right".
Scenario readScenario(std::string_view file, std::string_view text, std::span<const StepKind> kinds);

/// The configuration and what the steps change of it.
std::vector<const JSONNode*> configurationsOf(const Scenario& scenario);

}  // namespace pellion

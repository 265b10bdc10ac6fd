#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

/// The form of an "expect" step, from the table of the kinds of expectation in scenario_expectation.cpp.
extern const Shape expectationShape;

/// Compares everything that the step names with the events since the last such step, and reports the outcome. A
/// mismatch ends the run.
void expect(ScenarioRun& run, const JSONNode& expectation);

/// Throws InputError for the first step or expectation that needs the built-in backend.
void refuseBackendSteps(const Scenario& scenario);

}  // namespace pellion

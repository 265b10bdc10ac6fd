#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

/// What an "expect" step may look like, from the table of the kinds of expectation in scenario_expectation.cpp.
extern const Shape expectationShape;

/// Compares all that the step names with what has happened since the last such step, and tells of the outcome. A
/// mismatch ends the run.
void expect(ScenarioRun& run, const JSONNode& expectation);

/// Throws InputError for the first step or expectation that needs the backend of our own.
void refuseBackendSteps(const Scenario& scenario);

}  // namespace pellion

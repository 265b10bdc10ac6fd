#pragma once

#include <string>
#include <vector>

#include "pellion/scenario.h"

namespace pellion {

/// One thing that is not as a scenario wants it.
struct Mismatch {
  std::string place;  ///< such as "request 1, header mapid"
  std::string wanted;
  std::string found;
};
using Mismatches = std::vector<Mismatch>;

/// What an "expect" step may look like, from the table of the kinds of expectation in scenario_expectation.cpp.
extern const Shape expectationShape;

/// "no URLs", "1 URL", "2 URLs"; the plural is given where it is not the singular with an s.
std::string counted(std::size_t count, const std::string& one, const std::string& several = "");

/// Compares all that the step names with what has happened since the last such step, and tells of the outcome. A
/// mismatch ends the run.
void expect(ScenarioRun& run, const JSONNode& expectation);

/// Tells of the mismatches as of an expectation at that position, and ends the run.
void failFor(ScenarioRun& run, Position position, const Mismatches& mismatches);

/// Whether the step is an expectation that something was raised.
bool expectsRaised(const Step& step);

/// Throws InputError for the first step or expectation that needs the backend of our own.
void refuseBackendSteps(const Scenario& scenario);

}  // namespace pellion

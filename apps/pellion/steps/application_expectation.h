#pragma once

#include "pellion/document/scenario.h"
#include "pellion/run/mismatch.h"

namespace pellion {

// Expectations of the calls that the application receives and of its answers that reach the platform; docs/scenario.md
// describes them. Each adds the differences and returns a short text that says what was compared.

extern const Shape listOfFetchResults;
extern const Shape listOfPresentations;
extern const Shape countShape;

/// Throws InputError for a call of an object or a callback that the scenario does not have.
void checkCallNames(const Scenario& scenario, const JSONNode& expectation);
std::string checkCalls(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkFetched(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkPresented(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkCompleted(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);

}  // namespace pellion

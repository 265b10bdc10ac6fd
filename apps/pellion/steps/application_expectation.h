#pragma once

#include "pellion/document/scenario.h"
#include "pellion/run/mismatch.h"

namespace pellion {

// Expectations of what the application hears and what reaches the platform of its answers; docs/scenario.md describes
// them. Each adds what differs and gives, in few words, what was looked at.

extern const Shape listOfFetchResults;
extern const Shape listOfPresentations;
extern const Shape countShape;

std::string checkCalls(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkFetched(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkPresented(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkCompleted(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);

}  // namespace pellion

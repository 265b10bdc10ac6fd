#pragma once

#include "pellion/document/scenario.h"
#include "pellion/run/mismatch.h"

namespace pellion {

// Expectations of what notifications lead to; docs/scenario.md describes them. Each adds the differences and returns a
// short text that says what was compared.

extern const Shape listOfEntries;
extern const Shape badgeShape;
extern const Shape pendingShape;

std::string checkStatistics(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkOpened(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkRefused(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkBadge(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkPending(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);
std::string checkRaised(ScenarioRun& run, const JSONNode& wanted, Mismatches& mismatches);

}  // namespace pellion

#pragma once

#include <vector>

#include "pellion/explain/explain_problems.h"

namespace pellion {

// The names of a payload's entries: those that the search finds where nobody looks for them, those that stand where
// nothing is read, and those that look like misspelt ones. Inside a process.

std::vector<Problem> keyProblems(const Payload& payload);

}  // namespace pellion

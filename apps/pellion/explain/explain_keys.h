#pragma once

#include <vector>

#include "pellion/explain/explain_problems.h"

namespace pellion {

// Checks the names of a payload's entries: names that the search finds in unexpected places, names in places where no
// code reads them, and names that look misspelt. Inside a process.

std::vector<Problem> keyProblems(const Payload& payload);

}  // namespace pellion

#pragma once

#include <span>
#include <string_view>

#include "pellion/payload/problem.h"

namespace pellion {

// Checks the names of a payload's entries: names that the search finds in unexpected places, names in places where no
// code reads them, and names that look misspelt. Inside a process.

Problems keyProblems(const Payload& payload);

/// Placeholders that a template left in a text.
Problems templateProblems(const Payload& payload);

/// The names that the module reads at the top level of what addInfo holds.
std::span<const std::string_view> addInfoKeys();

}  // namespace pellion

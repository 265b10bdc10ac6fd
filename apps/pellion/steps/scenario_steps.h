#pragma once

#include <span>
#include <string>
#include <string_view>

#include "pellion/document/scenario.h"

namespace pellion {

/// Every kind of step: the table that docs/scenario.md describes.
std::span<const StepKind> stepKinds();

/// Reads a scenario of all these kinds. Throws InputError: "file:line:column: what is wrong; what would be right".
Scenario readScenario(const std::string& path);
Scenario readScenario(std::string_view file, std::string_view text);

}  // namespace pellion

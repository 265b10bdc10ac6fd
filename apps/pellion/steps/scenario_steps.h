#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/scenario.h"

namespace pellion {

/// Every kind of step: the table that docs/scenario.md describes.
std::span<const StepKind> stepKinds();

/// Reads a scenario of all these kinds. Throws InputError: "file:line:column: what is wrong; what would be right".
Scenario readScenario(const std::string& path);
Scenario readScenario(std::string_view file, std::string_view text);

/// The payload and configuration files that a scenario names, also one with errors; none if it cannot be read.
std::vector<std::string> filesNamedBy(const std::string& path);

}  // namespace pellion

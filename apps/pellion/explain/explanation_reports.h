#pragma once

#include <string>
#include <vector>

#include "pellion/explain/explain.h"

namespace pellion {

// Explanations for other programs. docs/explain.md describes the formats.

std::string jsonReport(const std::vector<Explanation>& explanations);
/// JUnit's XML: a test case for each file, which fails if it has a finding of the level error.
std::string junitReport(const std::vector<Explanation>& explanations);
/// SARIF 2.1.0.
std::string sarifReport(const std::vector<Explanation>& explanations);

}  // namespace pellion

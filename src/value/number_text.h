#pragma once

#include <string>

#include "platform/value.h"

namespace value {

/// Appends a number as the platform prints it: a boolean as 1 or 0, an integer in decimal digits, a floating point
/// number with the fewest digits that read back the same, in scientific notation from 1e+17 up and below 1e-4.
void appendNumber(std::string& text, const platform::Value& number);

}  // namespace value

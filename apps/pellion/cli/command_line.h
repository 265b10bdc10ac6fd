#pragma once

#include <string>
#include <vector>

#include "pellion/run/surroundings.h"

namespace pellion {

/// Runs the command line, given without the program's name. Returns the exit status: 0; 1 for a failed expectation; 2
/// for unusable input, for which one line on `err` says where it is, what is wrong and what would be right.
int runCommandLine(const std::vector<std::string>& arguments, const Surroundings& surroundings);

}  // namespace pellion

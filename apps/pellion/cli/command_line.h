#pragma once

#include <string>
#include <vector>

#include "pellion/cli/surroundings.h"

namespace pellion {

/// The whole command line, without the program's name. The exit status: 0; 1 for a failed expectation; 2 for input
/// that cannot be used, of which one line on `err` says where, what and what would be right.
int runCommandLine(const std::vector<std::string>& arguments, const Surroundings& surroundings);

}  // namespace pellion

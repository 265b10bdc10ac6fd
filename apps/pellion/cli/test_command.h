#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "pellion/cli/surroundings.h"

namespace pellion {

struct TestArguments {
  std::vector<std::string> paths{"."};
  std::size_t jobs = 1;
  std::optional<std::string> junit;
};

/// The number of scenarios with each result.
struct TestCounts {
  std::size_t passed = 0;
  std::size_t failed = 0;
  std::size_t unusable = 0;
};

/// `pellion test`: runs all scenarios below the paths and reports those that did not pass, in the order of the files.
/// Throws InputError when there is nothing to run.
TestCounts runTests(const TestArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion

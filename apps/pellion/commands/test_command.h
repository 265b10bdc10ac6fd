#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pellion/run/surroundings.h"
#include "pellion/suite/scenario_suite.h"

namespace pellion {

struct TestArguments {
  std::vector<std::string> paths{"."};
  std::optional<std::string> filter = {};  ///< a part of the scenario's path or name
  SuiteOptions suite = {};                 ///< `onlyReads` lists the scenarios
  std::string format = "text";             ///< one of suiteFormats
  bool isVerbose = false;
  bool watches = false;  ///< runs again what changes, until a signal ends the program
  std::optional<std::string> junit = {};
};

/// `pellion test`: runs all scenarios below the paths and reports those that did not pass, in the order of the files.
/// Throws InputError when there is nothing to run, or nothing left to watch.
SuiteCounts runTests(const TestArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion

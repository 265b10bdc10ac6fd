#pragma once

#include <array>
#include <memory>
#include <string_view>

#include "pellion/run/surroundings.h"
#include "pellion/suite/scenario_suite.h"

namespace pellion {

/// Shows the results of a suite on standard output in one format, of which each class in the .cpp is one.
class SuiteReporter {
 public:
  SuiteReporter() = default;
  SuiteReporter(const SuiteReporter&) = delete;
  SuiteReporter& operator=(const SuiteReporter&) = delete;
  virtual ~SuiteReporter() = default;
  /// Called with the results in the order of the files.
  virtual void show(const SuiteResult& result) = 0;
  /// Called once, after the last result.
  virtual void end(const SuiteCounts& counts) = 0;
};

/// The names of the formats: for people, version 14 of TAP, workflow commands of GitHub.
inline constexpr std::array<const char*, 3> suiteFormats{"text", "tap", "github"};

/// `isVerbose`: with the timelines of failures.
std::unique_ptr<SuiteReporter> suiteReporter(std::string_view format, const Surroundings& surroundings, bool isVerbose);

/// Shows path and name of each file, separated by a tab.
std::unique_ptr<SuiteReporter> suiteLister(const Surroundings& surroundings);

}  // namespace pellion

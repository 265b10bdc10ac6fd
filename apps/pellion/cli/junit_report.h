#pragma once

#include <chrono>
#include <span>
#include <string>

#include "pellion/cli/scenario_suite.h"
#include "pellion/document/output_file.h"

namespace pellion {

/// What continuous integration reads of a suite: JUnit's XML, in the form that all its readers and schemas agree on.
class JUnitReport {
 public:
  /// Throws InputError for a file that cannot be written.
  explicit JUnitReport(const std::string& path);

  /// Writes it all and closes the file; `seconds` is what the whole suite took. Throws InputError.
  void write(std::span<const SuiteResult> results, std::chrono::duration<double> seconds);

 private:
  std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
  OutputFile file_;
};

}  // namespace pellion

#pragma once

#include <chrono>
#include <span>
#include <string>

#include "pellion/cli/scenario_suite.h"
#include "pellion/document/output_file.h"

namespace pellion {

/// The results of a suite for continuous integration: JUnit's XML, in the form that all readers and schemas accept.
class JUnitReport {
 public:
  /// Throws InputError when the file cannot be written.
  explicit JUnitReport(const std::string& path);

  /// Writes the whole report and closes the file. `seconds` is the duration of the whole suite. Throws InputError.
  void write(std::span<const SuiteResult> results, std::chrono::duration<double> seconds);

 private:
  std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
  OutputFile file_;
};

}  // namespace pellion

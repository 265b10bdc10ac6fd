#pragma once

#include <chrono>
#include <filesystem>
#include <span>
#include <string>

#include "pellion/suite/scenario_suite.h"

namespace pellion {

/// The results of a suite for continuous integration: JUnit's XML. It appears whole, by renaming a temporary file
/// beside it, or not at all; a device or a pipe is written directly.
class JUnitReport {
 public:
  /// Throws InputError when the file could not be written.
  explicit JUnitReport(const std::string& path);

  /// `seconds` is the duration of the whole suite. Throws InputError, and leaves an older report as it was.
  void write(std::span<const SuiteResult> results, std::chrono::duration<double> seconds) const;

 private:
  std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
  std::filesystem::path path_;
  bool replaces_;  ///< a regular file, or a new one
};

}  // namespace pellion

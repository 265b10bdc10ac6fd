#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "pellion/run/mismatch.h"
#include "pellion/suite/suite_files.h"
#include "pellion/text/json_reader.h"

namespace pellion {

/// The result of one file of a suite.
struct SuiteResult {
  enum class Outcome { passed, failed, unusable, noScenario, notRun };

  Outcome outcome = Outcome::passed;
  std::string file;
  std::string name;                         ///< the scenario's name, or the file's when it could not be read
  std::chrono::duration<double> seconds{};  ///< in real time
  std::optional<Position> position = {};    ///< of what failed or is unusable, where that is known
  Mismatches mismatches = {};               ///< of a failure
  std::string error = {};                   ///< of an unusable file: why, without file and position
  std::string warnings = {};                ///< of a scenario that passed, a line for each
  /// Writes the timeline of a failure.
  std::function<std::string(bool inColour)> timeline = {};

  [[nodiscard]] bool hasPassed() const { return outcome != Outcome::failed && outcome != Outcome::unusable; }
};

/// What failed or is unusable, each in one line, without the place in the file:
/// "request 1, method: wanted GET, found POST".
std::vector<std::string> problemTexts(const SuiteResult& result);
/// "file:line:column", or the file alone.
std::string problemPlace(const SuiteResult& result);

/// The number of scenarios with each outcome.
struct SuiteCounts {
  std::size_t passed = 0;
  std::size_t failed = 0;
  std::size_t unusable = 0;
  std::size_t notRun = 0;
};
SuiteCounts countResults(std::span<const SuiteResult> results);

struct SuiteOptions {
  std::size_t jobs = 1;
  std::optional<std::string> server = {};  ///< instead of each run's own backend
  bool failsFast = false;                  ///< starts no further file after one that did not pass
  bool isStrict = true;                    ///< as for ScenarioRun
  bool onlyReads = false;                  ///< reads and checks the scenarios, but does not run them
};

/// Runs the files in parallel, each with its own phone, storage and backend. Calls `done` with the file's index as each
/// file ends, from one thread at a time. Files that are not started are the last ones.
void runSuite(std::span<const SuiteFile> files, const SuiteOptions& options,
              const std::function<void(std::size_t index, SuiteResult result)>& done);

}  // namespace pellion

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace pellion {

/// A file of a suite: a scenario that the caller named, or any JSON document below a directory.
struct SuiteFile {
  std::string path;
  bool isNamed = false;
};

/// The files themselves and every *.json below the directories, in the order of the paths and then by name, each once.
/// Skips names that begin with a dot, as a shell does. Throws InputError for a path that cannot be read.
std::vector<SuiteFile> findSuiteFiles(std::span<const std::string> paths);

/// The result of one file of a suite.
struct SuiteResult {
  enum class Outcome { passed, failed, unusable, noScenario };

  Outcome outcome = Outcome::passed;
  std::string file;
  std::string name;                         ///< the scenario's name, or the file's when it could not be read
  std::chrono::duration<double> seconds{};  ///< in real time
  std::string message;                      ///< one line: the first failure, or why the file is unusable
  std::string mismatches = {};              ///< of a failure: place, wanted and found, as in the timeline
  std::string timeline = {};                ///< of a failure
};

/// Runs the files in parallel, each with its own phone, storage and backend. Calls `done` with the file's index as each
/// file ends, from one thread at a time.
void runSuite(std::span<const SuiteFile> files, std::size_t jobs, bool inColour,
              const std::function<void(std::size_t index, SuiteResult result)>& done);

}  // namespace pellion

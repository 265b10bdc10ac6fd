#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace pellion {

/// A file of a suite: a scenario that was named, or any JSON document below a directory.
struct SuiteFile {
  std::string path;
  bool isNamed = false;
};

/// The files themselves and every *.json below the directories, in the order of the paths and then by name, each once.
/// What begins with a dot is left out, as a shell does. Throws InputError for a path that cannot be read.
std::vector<SuiteFile> findSuiteFiles(std::span<const std::string> paths);

/// What became of a file of a suite.
struct SuiteResult {
  enum class Outcome { passed, failed, unusable, noScenario };

  Outcome outcome = Outcome::passed;
  std::string file;
  std::string name;                         ///< the scenario's, or the file's where it could not be read
  std::chrono::duration<double> seconds{};  ///< of real time
  std::string message;                      ///< one line: what failed first, or why it is of no use
  std::string mismatches = {};              ///< of a failure: place, wanted and found, as the timeline shows them
  std::string timeline = {};                ///< of a failure
};

/// Runs the files side by side, each with a phone, a storage and a backend of its own. `done` is called as each ends,
/// with its index, by one thread at a time.
void runSuite(std::span<const SuiteFile> files, std::size_t jobs, bool inColour,
              const std::function<void(std::size_t index, SuiteResult result)>& done);

}  // namespace pellion

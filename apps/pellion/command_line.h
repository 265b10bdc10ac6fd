#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace pellion {

/// What the world around a command gives it.
struct Surroundings {
  std::ostream& out;
  std::ostream& err;
  bool inColour = false;
  bool showsProgress = false;  ///< `err` is a terminal, where a line can be written over
  /// Calls `start`, which leaves threads running, and returns when the command is told to end.
  std::function<void(const std::function<void()>& start)> runUntilTold = {};
  /// Has `cleanUp` called if a signal ends the program.
  std::function<void(std::function<void()> cleanUp)> cleanUpOnSignal = [](const auto&) {};
};

/// The whole command line, without the program's name. The exit status: 0; 1 for a failed expectation; 2 for input
/// that cannot be used, of which one line on `err` says where, what and what would be right.
int runCommandLine(const std::vector<std::string>& arguments, const Surroundings& surroundings);

}  // namespace pellion

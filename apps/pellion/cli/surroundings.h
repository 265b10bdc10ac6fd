#pragma once

#include <functional>
#include <ostream>

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

}  // namespace pellion

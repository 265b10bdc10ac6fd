#pragma once

#include <cstddef>
#include <functional>
#include <ostream>

namespace pellion {

/// What a command receives from its environment.
struct Surroundings {
  std::ostream& out;
  std::ostream& err;
  bool inColour = false;
  bool showsProgress = false;    ///< `err` is a terminal, where a line can be overwritten
  bool inputIsTerminal = false;  ///< standard input is a terminal, where a person has to type
  std::size_t columns = 100;     ///< the width of the output
  /// Calls `start`, which leaves threads running, and returns when the command receives the request to end.
  std::function<void(const std::function<void()>& start)> runUntilEnd = {};
  /// Arranges that a signal that ends the program calls `cleanUp` first.
  std::function<void(std::function<void()> cleanUp)> cleanUpOnSignal = [](const auto&) {};
  /// Arranges that the first such signal calls `stop`, on a thread of its own, and the second one calls `cleanUp` and
  /// ends the program.
  std::function<void(std::function<void()> stop, std::function<void()> cleanUp)> stopOnSignal = [](const auto&,
                                                                                                   const auto&) {};
};

}  // namespace pellion

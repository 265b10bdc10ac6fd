#pragma once

#include <functional>

namespace pellion {

// What a person or the system sends to end a program: SIGINT, SIGTERM, and SIGHUP unless nohup started it. Both
// functions are called before any other thread starts, for threads inherit what is blocked.

/// Calls `start`, which leaves threads running, and returns at the first such signal.
void runUntilSignal(const std::function<void()>& start);

/// From now on such a signal calls `cleanUp`, on a thread of its own, and then ends the program as it does by itself. A
/// reader of the output who goes away no longer ends the program: writing fails instead.
void cleanUpOnSignal(std::function<void()> cleanUp);

}  // namespace pellion

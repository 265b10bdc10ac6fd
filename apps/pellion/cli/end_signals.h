#pragma once

#include <functional>

namespace pellion {

// The signals with which a person or the system ends a program: SIGINT, SIGTERM, and SIGHUP unless nohup started it.
// Call both functions before any other thread starts, because threads inherit the blocked signals.

/// Calls `start`, which leaves threads running, and returns at the first such signal.
void runUntilSignal(const std::function<void()>& start);

/// From now on such a signal, or a SIGPIPE that StandardOutput sends to the program, calls `cleanUp` on its own thread
/// and then ends the program with the default action. A write to any other pipe without a reader only fails.
void cleanUpOnSignal(std::function<void()> cleanUp);

/// The first such signal calls `stop` on a thread of its own; the second one works as in cleanUpOnSignal.
void stopOnSignal(std::function<void()> stop, std::function<void()> cleanUp);

}  // namespace pellion

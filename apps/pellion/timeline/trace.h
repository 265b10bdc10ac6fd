#pragma once

#include <mutex>
#include <optional>
#include <ostream>
#include <string>

#include "host/phone/observed_event.h"
#include "pellion/text/output_file.h"

namespace pellion {

/// Writes every event as one line of JSON: {"time": seconds, "actor": …, "what": …, "details": {…}}. Each line is in
/// the file before the next event. All operations are safe from any thread. docs/trace.md describes the events.
class Trace {
 public:
  /// Throws InputError when the file cannot be written.
  explicit Trace(const std::string& path);
  /// Writes to this stream instead, whose owner finds out whether everything was written.
  explicit Trace(std::ostream& stream) : stream_(&stream) {}
  void operator()(const host::Event& event);
  /// Throws InputError when something was not written.
  void close();
  /// For a program that is about to end: lets a line that is being written become complete, and writes no other.
  /// A thread that writes one later waits for the end.
  void stop();

 private:
  std::timed_mutex mutex_;
  std::optional<OutputFile> file_;
  std::ostream* stream_;
};

/// The event as a line of a trace holds it.
platform::Value traceEntry(const host::Event& event);
std::string traceLine(const host::Event& event);

}  // namespace pellion

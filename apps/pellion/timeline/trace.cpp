#include "pellion/timeline/trace.h"

#include <chrono>

#include "pellion/document/json_writer.h"

namespace pellion {

using platform::Value;

Trace::Trace(const std::string& path) : file_(path, "--trace", OutputFile::forItsOwner) {}

void Trace::operator()(const host::Event& event) {
  const std::lock_guard lock(mutex_);
  file_.stream() << traceLine(event) << '\n' << std::flush;
}

void Trace::close() {
  const std::lock_guard lock(mutex_);
  file_.close("trace");
}

void Trace::stop() {
  constexpr std::chrono::seconds longest{1};  // the trace may be a pipe that its reader no longer empties
  std::unique_lock lock(mutex_, longest);
  static_cast<void>(lock.release());  // never unlocked
}

std::string traceLine(const host::Event& event) {
  const double seconds = std::chrono::duration<double>(event.time).count();
  return compactJSON(
      Value::dictionary({{"time", seconds}, {"actor", event.actor}, {"what", event.what}, {"details", event.details}}));
}

}  // namespace pellion

#include "pellion/timeline/trace.h"

#include <chrono>

#include "pellion/document/json_writer.h"

namespace pellion {

using platform::Value;

Trace::Trace(const std::string& path) : file_(path, "--trace", OutputFile::forItsOwner) {}

void Trace::operator()(const host::Event& event) { file_.stream() << traceLine(event) << '\n'; }

void Trace::close() { file_.close("trace"); }

std::string traceLine(const host::Event& event) {
  const double seconds = std::chrono::duration<double>(event.time).count();
  return compactJSON(
      Value::dictionary({{"time", seconds}, {"actor", event.actor}, {"what", event.what}, {"details", event.details}}));
}

}  // namespace pellion

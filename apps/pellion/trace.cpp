#include "pellion/trace.h"

#include <cerrno>
#include <cstring>

#include "pellion/input_error.h"
#include "pellion/json_writer.h"

namespace pellion {

using platform::Value;

Trace::Trace(const std::string& path) : path_(path), file_(path, std::ios::binary | std::ios::trunc) {
  if (!file_) throw InputError(path + ": " + std::strerror(errno) + "; give --trace a file that can be written");
}

void Trace::operator()(const host::Event& event) { file_ << traceLine(event) << '\n'; }

void Trace::close() {
  file_.close();
  if (!file_) throw InputError(path_ + ": not all of the trace could be written; is the disk full?");
}

std::string traceLine(const host::Event& event) {
  const double seconds = std::chrono::duration<double>(event.time).count();
  return compactJSON(
      Value::dictionary({{"time", seconds}, {"actor", event.actor}, {"what", event.what}, {"details", event.details}}));
}

}  // namespace pellion

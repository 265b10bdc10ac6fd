#include "pellion/timeline/trace.h"

#include <chrono>
#include <utility>
#include <vector>

#include "pellion/document/statistics_status.h"
#include "pellion/text/json_writer.h"

namespace pellion {

using platform::Value;

Trace::Trace(const std::string& path)
    : file_(std::in_place, path, "--trace", OutputFile::forItsOwner), stream_(&file_->stream()) {}

void Trace::operator()(const host::Event& event) {
  const std::lock_guard lock(mutex_);
  *stream_ << traceLine(event) << '\n' << std::flush;
}

void Trace::close() {
  const std::lock_guard lock(mutex_);
  if (file_) file_->close("trace");
}

void Trace::stop() {
  constexpr std::chrono::seconds longest{1};  // the trace may be a pipe that its reader no longer empties
  std::unique_lock lock(mutex_, longest);
  static_cast<void>(lock.release());  // never unlocked
}

namespace {

/// Adds the names of the statuses, when the details contain statistics entries. These stay as they are.
Value withStatusNames(const Value& details) {
  std::vector<Value> named;
  for (const Value& entry : statisticsIn(details)) {
    named.push_back(Value::dictionary({{"notificationid", *entry.find("notificationid")},
                                       {"status", *entry.find("status")},
                                       {"name", statusName(entry)}}));
  }
  if (named.empty()) return details;
  std::vector<Value::Entry> entries(details.entries().begin(), details.entries().end());
  entries.push_back({"statistics", Value::list(named)});
  return Value::dictionary(entries);
}

}  // namespace

Value traceEntry(const host::Event& event) {
  const double seconds = std::chrono::duration<double>(event.time).count();
  return Value::dictionary(
      {{"time", seconds}, {"actor", event.actor}, {"what", event.what}, {"details", withStatusNames(event.details)}});
}

std::string traceLine(const host::Event& event) { return compactJSON(traceEntry(event)); }

}  // namespace pellion

#pragma once

#include <string>

#include "host/phone/observed_event.h"
#include "pellion/document/output_file.h"

namespace pellion {

/// Writes every event as one line of JSON: {"time": seconds, "actor": …, "what": …, "details": {…}}.
class Trace {
 public:
  /// Throws InputError when the file cannot be written.
  explicit Trace(const std::string& path);
  void operator()(const host::Event& event);
  /// Throws InputError when something was not written.
  void close();

 private:
  OutputFile file_;
};

std::string traceLine(const host::Event& event);

}  // namespace pellion

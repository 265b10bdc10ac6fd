#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace host {

/// Something that happened, for code that reports it: a timeline, a trace, an expectation.
struct Event {
  std::chrono::nanoseconds time{};  ///< by the phone's clock, from its first start
  std::string_view actor;           ///< "platform", "app", "module", "keychain", "backend", "scenario", …
  std::string_view what;            ///< a word for the kind of event, unique within its actor
  platform::Value details = platform::Value::dictionary({});
};

/// The details of the event "blocked" of any actor: what it does not do or does otherwise than meant ("sends no
/// statistics"), why, and what to change.
inline platform::Value obstacle(const std::string& effect, const std::string& reason, const std::string& remedy) {
  return platform::Value::dictionary({{"effect", effect}, {"reason", reason}, {"remedy", remedy}});
}

/// Called on the thread on which the event happened. Must be safe to call from several threads at once.
using EventSink = std::function<void(const Event&)>;

}  // namespace host

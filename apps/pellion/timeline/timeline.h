#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "host/phone/observed_event.h"
#include "pellion/timeline/event_text.h"

namespace pellion {

/// Shows events for a person to read: when, who, what, and below that the details, aligned. A time is written when it
/// changes. Not thread-safe.
class Timeline {
 public:
  struct Options {
    bool inColour = false;
    bool withLog = false;        ///< the module's log lines
    bool abridges = false;       ///< shows only what differs from the request before
    bool withTimeOfDay = false;  ///< times count from 1970; shows each, as the local time of day
    bool withNetwork = false;    ///< what the phone sends and receives, when no built-in backend shows it
  };

  Timeline(std::ostream& out, Options options) : out_(out), options_(options) {}
  void operator()(const host::Event& event);

 private:
  bool passesOver(const host::Event& event) const;
  bool writeHeading(const host::Event& event);
  std::string painted(std::string_view text, Ink ink) const;

  std::ostream& out_;
  Options options_;
  bool hasServer_ = false;  ///< the scenario's configuration names a server
  std::string timeShown_;
  platform::Value lastRequest_;
};

/// Whether this file descriptor is a terminal that supports escape sequences.
bool isTerminal(int fileDescriptor);
/// Whether to colour output to this file descriptor: yes for a terminal, unless NO_COLOR says otherwise.
bool wantsColour(int fileDescriptor);

}  // namespace pellion

#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "host/phone/observed_event.h"
#include "pellion/timeline/event_text.h"

namespace pellion {

/// Tells of events as a person reads them: when, who, what, and under it what belongs to it, aligned. A time is
/// written where it changes. Not for several threads at once.
class Timeline {
 public:
  struct Options {
    bool inColour = false;
    bool withLog = false;      ///< the module's log lines
    bool abridges = false;     ///< of a request only what is not as in the one before it
    bool withNetwork = false;  ///< what the phone sends and receives, where no backend of ours shows it
  };

  Timeline(std::ostream& out, Options options) : out_(out), options_(options) {}
  void operator()(const host::Event& event);

 private:
  bool passesOver(const host::Event& event) const;
  bool writeHeading(const host::Event& event);
  std::string painted(std::string_view text, Ink ink) const;

  std::ostream& out_;
  Options options_;
  std::string timeShown_;
  platform::Value lastRequest_;
};

/// Whether this file descriptor is a terminal that obeys escape sequences.
bool isTerminal(int fileDescriptor);
/// Whether to colour what goes there: to a terminal, unless NO_COLOR says otherwise.
bool wantsColour(int fileDescriptor);

}  // namespace pellion

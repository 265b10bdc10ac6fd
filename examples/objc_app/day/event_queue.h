#pragma once

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

/// What happened on the other platform, in order: events of the shop's processes and of the backend. Any thread.
class EventQueue {
 public:
  struct Event {
    std::string actor;
    std::string what;
    platform::Value details;
  };

  void add(Event event);
  /// No other event comes: a wait that is under way ends.
  void close();
  /// Takes the first event of that kind out of the queue. Waits for it, at most ten seconds.
  std::optional<Event> take(std::string_view actor, std::string_view what);
  /// Takes what is left.
  std::list<Event> takeAll();

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::list<Event> events_;
  bool isClosed_ = false;
};

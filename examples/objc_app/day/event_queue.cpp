#include "objc_app/day/event_queue.h"

#include <algorithm>
#include <utility>

void EventQueue::add(Event event) {
  const std::lock_guard lock(mutex_);
  events_.push_back(std::move(event));
  added_.notify_all();
}

void EventQueue::close() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  added_.notify_all();
}

std::optional<EventQueue::Event> EventQueue::take(std::string_view actor, std::string_view what) {
  std::unique_lock lock(mutex_);
  auto found = events_.end();
  added_.wait_for(lock, std::chrono::seconds(10), [&] {
    found = std::ranges::find_if(events_, [&](const Event& each) { return each.actor == actor && each.what == what; });
    return found != events_.end() || isClosed_;
  });
  if (found == events_.end()) return std::nullopt;
  Event event = std::move(*found);
  events_.erase(found);
  return event;
}

std::list<EventQueue::Event> EventQueue::takeAll() {
  const std::lock_guard lock(mutex_);
  return std::exchange(events_, {});
}

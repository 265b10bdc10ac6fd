#include "services/dispatch_group.h"

#include <mutex>
#include <utility>
#include <vector>

#include "platform/dispatch.h"
#include "platform/programming_error.h"

namespace platform {

struct DispatchGroup::State {
  const services::MainQueue addToMainQueue = services::mainQueue();
  std::mutex mutex;
  std::size_t entered = 0;
  std::vector<std::function<void()>> notifications;

  // Outside the lock: a queue may drop its work at once, and the work may hold the last reference to this state.
  void notifyWhenEmpty(std::unique_lock<std::mutex> lock) {
    if (entered != 0) return;
    auto ready = std::exchange(notifications, {});
    lock.unlock();
    for (std::function<void()>& work : ready) addToMainQueue(std::move(work));
  }
};

DispatchGroup::DispatchGroup() : state_(std::make_shared<State>()) {}

void DispatchGroup::enter() const {
  const std::lock_guard lock(state_->mutex);
  ++state_->entered;
}

void DispatchGroup::leave() const {
  std::unique_lock lock(state_->mutex);
  if (state_->entered == 0) programmingError("a dispatch group was left more often than it was entered");
  --state_->entered;
  state_->notifyWhenEmpty(std::move(lock));
}

void DispatchGroup::notifyOnMainQueue(std::function<void()> work) const {
  std::unique_lock lock(state_->mutex);
  state_->notifications.push_back(std::move(work));
  state_->notifyWhenEmpty(std::move(lock));
}

}  // namespace platform

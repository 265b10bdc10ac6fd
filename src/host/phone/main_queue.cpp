#include "host/phone/main_queue.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/objc/programming_error.h"

namespace host {

void MainQueue::requireMainThread(const char* call) const {
  if (isMainThread()) return;
  throw ProgrammingError(std::string(call) + " on a thread other than the main thread; dispatch it to the main queue");
}

void MainQueue::after(std::chrono::nanoseconds delay, Work work) {
  bool isNext = false;
  {
    const std::lock_guard lock(mutex_);
    if (isClosed_) return;  // the work is destroyed with the call, outside the lock
    const std::chrono::nanoseconds due = clock_.now() + std::max(delay, std::chrono::nanoseconds::zero());
    isNext = items_.isEmpty() || due < items_.nextTime();
    items_.add(due, std::move(work));
  }
  changed_.notify_all();
  if (isNext && wake_) wake_();
}

std::optional<std::chrono::nanoseconds> MainQueue::nextDue() const {
  const std::lock_guard lock(mutex_);
  if (items_.isEmpty()) return std::nullopt;
  return items_.nextTime();
}

void MainQueue::beginOutsideWork() {
  const std::lock_guard lock(mutex_);
  ++outsideWork_;
}

void MainQueue::endOutsideWork() {
  // Notifies under the lock: the thread that runs this queue may destroy it as soon as it sees the count.
  const std::lock_guard lock(mutex_);
  --outsideWork_;
  changed_.notify_all();
}

void MainQueue::close() {
  services::TimedQueue<std::chrono::nanoseconds> dropped;
  // Destroyed outside the lock: destroying what work has captured may call this queue again.
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  std::swap(dropped, items_);
}

void MainQueue::runWhatIsDue() {
  requireMainThread("the main queue is turned");
  std::unique_lock lock(mutex_);
  while (items_.hasDue(clock_.now())) items_.runNext(lock);
}

void MainQueue::runUntil(std::chrono::nanoseconds target) {
  requireMainThread("the main queue is turned");
  std::unique_lock lock(mutex_);
  while (waitForNext(lock, target)) items_.runNext(lock);
  if (clock_.isVirtual() && clock_.now() < target) clock_.advanceTo(target);
}

// Returns whether an item is due; advances virtual time, or waits for real time. False: nothing more until `target`.
bool MainQueue::waitForNext(std::unique_lock<std::mutex>& lock, std::chrono::nanoseconds target) {
  for (;;) {
    const bool hasItem = items_.hasDue(target);
    if (items_.hasDue(std::min(target, clock_.now()))) return true;
    if (clock_.isVirtual()) {
      if (outsideWork_ == 0) {
        if (hasItem) clock_.advanceTo(items_.nextTime());
        return hasItem;
      }
      changed_.wait(lock);
    } else {
      const std::chrono::nanoseconds wake = hasItem ? items_.nextTime() : target;
      if (wake > clock_.now()) {
        changed_.wait_for(lock, wake - clock_.now());
      } else {
        if (outsideWork_ == 0) return false;
        changed_.wait(lock);
      }
    }
  }
}

}  // namespace host

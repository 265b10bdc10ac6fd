#include "services/url_loading/handler_pool.h"

#include <utility>

namespace services {

// Delegates to the other constructor, so that the destructor ends the first threads when a later one cannot be made.
HandlerPool::HandlerPool(std::size_t threadCount) : HandlerPool() {
  for (std::size_t i = 0; i < threadCount; ++i) threads_.emplace_back([this] { run(); });
}

HandlerPool::~HandlerPool() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void HandlerPool::async(std::vector<Item>& items) {
  const Time now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  for (Item& item : items) {
    item.queue->work_.push_back(std::move(item.work));
    if (!std::exchange(item.queue->isScheduled_, true)) ready_.push_back({std::move(item.queue), now});
  }
  items.clear();
  const bool isAnyRunning = idleThreads_ != threads_.size();  // then that thread goes on with these
  if (!isAnyRunning && !ready_.empty()) wakeIdleThread();
}

std::optional<HandlerPool::Time> HandlerPool::helpTime() const {
  const std::lock_guard lock(mutex_);
  if (ready_.empty() || idleThreads_ == 0) return std::nullopt;
  return ready_.front().since + patience();
}

void HandlerPool::help() {
  const std::lock_guard lock(mutex_);
  const Time now = std::chrono::steady_clock::now();
  if (!ready_.empty() && ready_.front().since + patience() <= now) {
    ready_.front().since = now;  // the next one to help, if that one is not enough
    wakeIdleThread();
  }
}

void HandlerPool::wakeIdleThread() {
  if (idleThreads_ == 0 || std::exchange(isWaking_, true)) return;
  changed_.notify_one();
}

void HandlerPool::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    while (!isEnding_ && ready_.empty()) {
      ++idleThreads_;
      changed_.wait(lock);
      --idleThreads_;
      isWaking_ = false;
    }
    if (ready_.empty()) return;
    const std::shared_ptr<Queue> queue = std::move(ready_.front().queue);
    ready_.pop_front();
    Work work = std::move(queue->work_.front());
    queue->work_.pop_front();
    lock.unlock();
    work();
    work = nullptr;
    lock.lock();
    // The queue goes after the other queues: many handlers of one session do not keep the others waiting.
    if (queue->work_.empty()) {
      queue->isScheduled_ = false;
    } else {
      ready_.push_back({queue, std::chrono::steady_clock::now()});
    }
  }
}

}  // namespace services

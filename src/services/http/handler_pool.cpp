#include "services/http/handler_pool.h"

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

void HandlerPool::async(const std::shared_ptr<Queue>& queue, Work work) {
  const std::lock_guard lock(mutex_);
  queue->work_.push_back(std::move(work));
  if (std::exchange(queue->isScheduled_, true)) return;
  ready_.push_back(queue);
  wakeIdleThread();
}

// One at a time: the woken thread wakes the next if there is still work for it then.
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
    std::shared_ptr<Queue> queue = std::move(ready_.front());
    ready_.pop_front();
    if (!ready_.empty()) wakeIdleThread();
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
      ready_.push_back(std::move(queue));  // this thread goes on
    }
  }
}

}  // namespace services

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace services {

/// A few threads that run serial queues. The work of one queue runs one item after the other, in order; the work of
/// different queues runs in parallel. The destructor first runs the remaining work.
class HandlerPool {
 public:
  using Work = std::function<void()>;
  class Queue {
    friend class HandlerPool;
    std::deque<Work> work_;
    bool isScheduled_ = false;  // waits for a thread or has one
  };

  explicit HandlerPool(std::size_t threadCount);
  HandlerPool(const HandlerPool&) = delete;
  HandlerPool& operator=(const HandlerPool&) = delete;
  ~HandlerPool();

  void async(const std::shared_ptr<Queue>& queue, Work work);

 private:
  HandlerPool() = default;
  void run();
  void wakeIdleThread();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<Queue>> ready_;
  int idleThreads_ = 0;
  bool isWaking_ = false;  // an idle thread has been notified and does not run yet
  bool isEnding_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace services

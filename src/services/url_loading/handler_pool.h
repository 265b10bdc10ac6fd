#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace services {

/// A few threads that run serial queues. The work of one queue runs one item after the other, in order; the work of
/// different queues runs in parallel. The destructor first runs the remaining work.
///
/// Most work takes microseconds, less than to wake a thread. So one thread runs what is added, and the others only help
/// when work waits for longer than patience(): the caller of async() then calls help().
class HandlerPool {
 public:
  using Work = std::function<void()>;
  using Time = std::chrono::steady_clock::time_point;
  class Queue {
    friend class HandlerPool;
    std::deque<Work> work_;
    bool isScheduled_ = false;  // waits for a thread or has one
  };

  explicit HandlerPool(std::size_t threadCount);
  HandlerPool(const HandlerPool&) = delete;
  HandlerPool& operator=(const HandlerPool&) = delete;
  ~HandlerPool();

  struct Item {
    std::shared_ptr<Queue> queue;
    Work work;
  };
  static constexpr std::chrono::milliseconds patience() { return std::chrono::milliseconds(1); }

  /// Adds all items and leaves none of them in `items`.
  void async(std::vector<Item>& items);
  /// Returns when help() is to be called, if work waits.
  [[nodiscard]] std::optional<Time> helpTime() const;
  /// Wakes another thread if work has waited since `helpTime() - patience()`.
  void help();

 private:
  HandlerPool() = default;
  void run();
  void wakeIdleThread();

  struct Ready {
    std::shared_ptr<Queue> queue;
    Time since;
  };

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Ready> ready_;
  std::size_t idleThreads_ = 0;
  bool isWaking_ = false;  // an idle thread has been notified and does not run yet
  bool isEnding_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace services

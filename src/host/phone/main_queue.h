#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "host/phone/clock.h"
#include "services/timed_queue.h"

namespace host {

/// A process's main queue. Any thread adds work. Only the thread that made the queue runs it: the main thread.
///
/// Virtual time stands still during outside work (a request in flight, its handler included): advance() waits for that
/// work to end before it moves on to the next timer. So a run gives the same times however slow the network is.
class MainQueue {
 public:
  using Work = std::function<void()>;

  explicit MainQueue(Clock& clock) : clock_(clock) {}

  [[nodiscard]] bool isMainThread() const { return std::this_thread::get_id() == mainThread_; }
  /// For calls that touch state without a lock. Throws ProgrammingError on any other thread.
  void requireMainThread(const char* call) const;

  void async(Work work) { after(std::chrono::nanoseconds::zero(), std::move(work)); }
  void after(std::chrono::nanoseconds delay, Work work);

  /// Runs the work that is due, and the work which that adds for the same time; does not wait.
  void runWhatIsDue();
  /// Runs due work, waits for outside work and runs what that added, until neither is left. Timers stay.
  void runUntilIdle() { runUntil(clock_.now()); }
  /// Lets `duration` pass and runs every timer at its time; ends idle.
  void advance(std::chrono::nanoseconds duration) { runUntil(clock_.now() + duration); }

  /// When the next item is due by the clock, if there is one. For a thread that serves many queues. Any thread.
  [[nodiscard]] std::optional<std::chrono::nanoseconds> nextDue() const;
  /// Calls `wake` whenever an item is added that is due before all others: on the thread that adds it, without a lock.
  /// Set before other threads use the queue.
  void onWork(std::function<void()> wake) { wake_ = std::move(wake); }

  /// Drops the work that has not run, and all work added from now on.
  void close();

  void beginOutsideWork();
  void endOutsideWork();
  [[nodiscard]] bool hasOutsideWork() const {
    const std::lock_guard lock(mutex_);
    return outsideWork_ > 0;
  }

 private:
  void runUntil(std::chrono::nanoseconds target);
  bool waitForNext(std::unique_lock<std::mutex>& lock, std::chrono::nanoseconds target);

  Clock& clock_;
  const std::thread::id mainThread_ = std::this_thread::get_id();
  std::function<void()> wake_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  services::TimedQueue<std::chrono::nanoseconds> items_;
  int outsideWork_ = 0;
  bool isClosed_ = false;
};

}  // namespace host

#include "platform/dispatch.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "foundation/system/main_queue.h"
#include "platform/exception.h"
#include "platform/programming_error.h"
#include "platform/reference.h"
#include "services/dispatch_group.h"
#include "services/timed_queue.h"

namespace foundation {
namespace {

using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

/// What the main thread's run loop has to do, by time and then in the order of the calls.
class MainQueue {
 public:
  static MainQueue& shared() {
    static auto& queue = *new MainQueue;
    return queue;
  }

  void add(std::chrono::nanoseconds delay, Work work) {
    const platform::AutoreleasePool pool;
    {
      const std::lock_guard lock(mutex_);
      items_.add(Clock::now() + std::max(delay, std::chrono::nanoseconds::zero()), std::move(work));
    }
    foundation_wakeMainQueue();
  }

  /// Runs what is due at the beginning, and sets the timer for the rest. Work that raises ends the turn, and what is
  /// due then runs in the next one. The timer counts in wall-clock time, so it may be early by any time.
  void turn() {
    const Clock::time_point begin = Clock::now();
    std::unique_lock lock(mutex_);
    const AtEnd setTimer{*this, lock};
    while (items_.hasDue(begin)) items_.runNext(lock);
  }

 private:
  struct AtEnd {
    MainQueue& queue;
    std::unique_lock<std::mutex>& lock;
    ~AtEnd() { queue.setTimer(lock); }
  };
  void setTimer(std::unique_lock<std::mutex>& lock) {
    if (!lock.owns_lock()) lock.lock();
    if (items_.isEmpty()) return;
    const std::chrono::duration<double> rest = items_.nextTime() - Clock::now();
    lock.unlock();
    foundation_wakeMainQueueAfter(std::max(0.0, rest.count()));
  }

  std::mutex mutex_;
  services::TimedQueue<Clock::time_point> items_;
};

}  // namespace
}  // namespace foundation

void foundation_turnMainQueue() {
  platform::enter([] { foundation::MainQueue::shared().turn(); });
}

namespace platform {

void dispatchAsyncOnMainQueue(std::function<void()> work) {
  foundation::MainQueue::shared().add(std::chrono::nanoseconds::zero(), std::move(work));
}
void dispatchAfterOnMainQueue(std::chrono::nanoseconds delay, std::function<void()> work) {
  foundation::MainQueue::shared().add(delay, std::move(work));
}

}  // namespace platform

services::MainQueue services::mainQueue() { return &platform::dispatchAsyncOnMainQueue; }

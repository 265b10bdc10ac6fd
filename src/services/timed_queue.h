#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/reference.h"

namespace services {

/// Work by the time at which it is due, then in the order in which it was added. The owner's mutex guards it.
template <class Time>
class TimedQueue {
 public:
  using Work = std::function<void()>;

  void add(Time due, Work work) {
    items_.push_back({due, nextOrder_++, std::move(work)});
    std::push_heap(items_.begin(), items_.end(), &TimedQueue::isLater);
  }
  [[nodiscard]] bool hasDue(Time time) const { return !items_.empty() && items_.front().due <= time; }
  [[nodiscard]] bool isEmpty() const { return items_.empty(); }
  /// When the next work is due; the queue must not be empty.
  [[nodiscard]] Time nextTime() const { return items_.front().due; }

  /// Runs the next work with a pool of its own and without the lock, also its destruction. What it raises leaves the
  /// lock open.
  void runNext(std::unique_lock<std::mutex>& lock) {
    std::pop_heap(items_.begin(), items_.end(), &TimedQueue::isLater);
    Work work = std::move(items_.back().work);
    items_.pop_back();
    lock.unlock();
    {
      const platform::AutoreleasePool pool;
      work();
      work = nullptr;
    }
    lock.lock();
  }

 private:
  struct Item {
    Time due;
    std::uint64_t order;
    Work work;
  };
  static bool isLater(const Item& left, const Item& right) {
    return left.due != right.due ? left.due > right.due : left.order > right.order;
  }

  std::vector<Item> items_;  // a heap, the next one in front
  std::uint64_t nextOrder_ = 0;
};

}  // namespace services

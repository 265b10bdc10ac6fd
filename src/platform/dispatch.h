#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Runs `work` on the current process's main queue: later, in order, never inside this call. Any thread.
void dispatchAsyncOnMainQueue(std::function<void()> work);

/// The same, but not before `delay` has passed on the main queue's clock.
void dispatchAfterOnMainQueue(std::chrono::nanoseconds delay, std::function<void()> work);

/// Counts work in flight. Copies are the same group. Any thread; leaving more often than entering is a programming
/// error that ends the program.
class DispatchGroup {
 public:
  DispatchGroup();
  void enter() const;
  void leave() const;
  /// Runs `work` once on the main queue when the count is zero: always later, never inside this call.
  void notifyOnMainQueue(std::function<void()> work) const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace platform

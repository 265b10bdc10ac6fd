#pragma once

#include <atomic>
#include <chrono>

namespace host {

/// A phone's clock, which starts at the phone's first start and outlives the processes. Virtual time moves only through
/// advanceTo(), real time by itself. Any thread.
class Clock {
 public:
  enum class Kind { virtualTime, realTime };

  explicit Clock(Kind kind) : kind_(kind), start_(std::chrono::steady_clock::now()) {}

  [[nodiscard]] bool isVirtual() const { return kind_ == Kind::virtualTime; }
  [[nodiscard]] std::chrono::nanoseconds now() const {
    return isVirtual() ? virtualNow_.load() : std::chrono::steady_clock::now() - start_;
  }
  void advanceTo(std::chrono::nanoseconds time) { virtualNow_ = time; }  ///< virtual time only; never backwards

 private:
  Kind kind_;
  std::chrono::steady_clock::time_point start_;
  std::atomic<std::chrono::nanoseconds> virtualNow_{std::chrono::nanoseconds::zero()};
};

}  // namespace host

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace pellion {

/// Counts durations in classes that are at most 3 % wide, so that it takes a few kilobytes for any number of them.
class Histogram {
 public:
  void add(std::chrono::microseconds duration);
  void add(const Histogram& other);
  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::chrono::microseconds greatest() const { return greatest_; }
  [[nodiscard]] std::chrono::microseconds least() const;  ///< zero when there is none
  [[nodiscard]] std::chrono::microseconds sum() const { return sum_; }
  /// The duration that this share of all did not exceed, at most 3 % too long; zero when there is none.
  [[nodiscard]] std::chrono::microseconds percentile(double share) const;
  /// Calls `each` with the middle of each class that is not empty, the shortest first, and the number of its durations.
  void forEachClass(const std::function<void(std::chrono::microseconds, std::uint64_t)>& each) const;

 private:
  std::vector<std::uint64_t> classes_;
  std::uint64_t count_ = 0;
  std::chrono::microseconds greatest_{};
  std::chrono::microseconds least_ = std::chrono::microseconds::max();
  std::chrono::microseconds sum_{};
};

}  // namespace pellion

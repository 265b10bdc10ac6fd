#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace pellion {

/// Counts durations in classes that are at most 3 % wide, so that it takes a few kilobytes for any number of them.
class Histogram {
 public:
  void add(std::chrono::microseconds duration);
  void add(const Histogram& other);
  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::chrono::microseconds greatest() const { return greatest_; }
  /// The duration that this share of all did not exceed, at most 3 % too long; zero when there is none.
  [[nodiscard]] std::chrono::microseconds percentile(double share) const;

 private:
  std::vector<std::uint64_t> classes_;
  std::uint64_t count_ = 0;
  std::chrono::microseconds greatest_{};
};

}  // namespace pellion

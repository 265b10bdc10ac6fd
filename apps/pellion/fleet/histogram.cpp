#include "pellion/fleet/histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace pellion {
namespace {

// Below 64 us each duration is a class; above, each power of two has 32 classes.
constexpr std::uint64_t exact = 64;
constexpr std::uint64_t perPower = 32;

std::size_t classOf(std::uint64_t duration) {
  if (duration < exact) return duration;
  const auto shift = static_cast<unsigned>(std::bit_width(duration)) - static_cast<unsigned>(std::bit_width(perPower));
  return exact + (shift - 1) * perPower + ((duration >> shift) - perPower);
}

/// The longest duration of a class.
std::uint64_t endOf(std::size_t index) {
  if (index < exact) return index;
  const std::uint64_t shift = (index - exact) / perPower + 1;
  return (((index - exact) % perPower + perPower + 1) << shift) - 1;
}

}  // namespace

void Histogram::add(std::chrono::microseconds duration) {
  const std::size_t index = classOf(static_cast<std::uint64_t>(std::max<std::int64_t>(duration.count(), 0)));
  if (classes_.size() <= index) classes_.resize(index + 1);
  ++classes_[index];
  ++count_;
  greatest_ = std::max(greatest_, duration);
  least_ = std::min(least_, duration);
  sum_ += duration;
}

void Histogram::add(const Histogram& other) {
  if (classes_.size() < other.classes_.size()) classes_.resize(other.classes_.size());
  for (std::size_t i = 0; i < other.classes_.size(); ++i) classes_[i] += other.classes_[i];
  count_ += other.count_;
  greatest_ = std::max(greatest_, other.greatest_);
  least_ = std::min(least_, other.least_);
  sum_ += other.sum_;
}

std::chrono::microseconds Histogram::percentile(double share) const {
  const auto wanted =
      std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(count_))));
  std::uint64_t seen = 0;
  for (std::size_t i = 0; i < classes_.size(); ++i) {
    seen += classes_[i];
    if (seen >= wanted) {
      return std::min(greatest_, std::chrono::microseconds(static_cast<std::int64_t>(endOf(i))));
    }
  }
  return {};
}

std::chrono::microseconds Histogram::least() const { return count_ == 0 ? std::chrono::microseconds() : least_; }

void Histogram::forEachClass(const std::function<void(std::chrono::microseconds, std::uint64_t)>& each) const {
  for (std::size_t i = 0; i < classes_.size(); ++i) {
    if (classes_[i] == 0) continue;
    const std::uint64_t begin = i == 0 ? 0 : endOf(i - 1) + 1;
    each(std::chrono::microseconds(static_cast<std::int64_t>((begin + endOf(i)) / 2)), classes_[i]);
  }
}

}  // namespace pellion

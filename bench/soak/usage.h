#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

/// The resources that the program holds now, as the system and the C library count them.
struct Usage {
  static Usage now();

  std::size_t residentKiB;
  std::size_t heapKiB;  ///< allocated and not freed: shows a small leak that the resident memory would hide
  std::size_t descriptors;
  std::size_t threads;
};

struct Promise {
  std::string text;
  std::string measured;
  bool isKept;
};

/// Prints each promise with its measured value; returns whether all are kept.
bool print(const std::vector<Promise>& promises);

/// Promises that memory stayed level between two moments. Empty if a sanitizer keeps freed memory.
std::vector<Promise> promiseLevelMemory(const Usage& first, const Usage& last);
/// Promises that only the descriptors and threads of `before` are left now.
std::vector<Promise> promiseNothingLeft(const Usage& before);

}  // namespace soak

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

/// What the program holds at this moment, as the system and the C library count it.
struct Usage {
  static Usage now();

  std::size_t residentKiB;
  std::size_t heapKiB;  ///< allocated and not freed: where the resident memory would hide a small leak, this shows it
  std::size_t descriptors;
  std::size_t threads;
};

struct Promise {
  std::string text;
  std::string measured;
  bool isKept;
};

/// That memory has stayed level between two moments. Empty where a sanitizer keeps what is freed.
std::vector<Promise> promiseLevelMemory(const Usage& first, const Usage& last);
/// That the descriptors and threads of `before` are all that is left now.
std::vector<Promise> promiseNothingLeft(const Usage& before);

}  // namespace soak

#include "bench/soak/usage.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace soak {
namespace {

namespace fs = std::filesystem;

// Allows for idle handles of libcurl that a burst of requests leaves behind. Resident memory also depends on how many
// threads a busy machine lets allocate at once; what is lost for each notification shows in the allocated memory, in a
// million of them far below one byte for each.
constexpr std::size_t residentToleranceKiB = 2048;
constexpr std::size_t heapToleranceKiB = 768;

#ifdef PELLION_SANITIZED
constexpr bool isMemoryMeasured = false;
#else
constexpr bool isMemoryMeasured = true;
#endif

std::size_t countIn(const char* directory) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

std::string change(std::size_t from, std::size_t to) { return std::to_string(from) + " -> " + std::to_string(to); }

}  // namespace

Usage Usage::now() {
  std::size_t pages = 0;
  std::size_t residentPages = 0;
  std::ifstream("/proc/self/statm") >> pages >> residentPages;
  const auto heap = mallinfo2();
  return {.residentKiB = residentPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024,
          .heapKiB = (heap.uordblks + heap.hblkhd) / 1024,
          .descriptors = countIn("/proc/self/fd") - 1,  // without the one that this count uses
          .threads = countIn("/proc/self/task")};
}

bool print(const std::vector<Promise>& promises) {
  bool areKept = true;
  for (const Promise& promise : promises) {
    std::printf("  %-7s %-72s %s\n", promise.isKept ? "kept" : "BROKEN", promise.text.c_str(),
                promise.measured.c_str());
    areKept = areKept && promise.isKept;
  }
  std::fflush(stdout);
  return areKept;
}

std::vector<Promise> promiseLevelMemory(const Usage& first, const Usage& last) {
  if (!isMemoryMeasured) return {};
  return {{"resident memory, KiB: at most 2 MiB more than after the first tenth",
           change(first.residentKiB, last.residentKiB), last.residentKiB <= first.residentKiB + residentToleranceKiB},
          {"allocated memory, KiB: at most 768 KiB more than after the first tenth",
           change(first.heapKiB, last.heapKiB), last.heapKiB <= first.heapKiB + heapToleranceKiB}};
}

std::vector<Promise> promiseNothingLeft(const Usage& before) {
  Usage after = Usage::now();
  // A joined thread stays listed a moment longer.
  for (int i = 0; i < 1'000'000 && after.threads > before.threads; ++i) {
    std::this_thread::yield();
    after.threads = countIn("/proc/self/task");
  }
  return {{"no descriptor left over", change(before.descriptors, after.descriptors),
           after.descriptors == before.descriptors},
          {"no thread left over", change(before.threads, after.threads), after.threads == before.threads}};
}

}  // namespace soak

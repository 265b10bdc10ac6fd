#pragma once

#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "services/sqlite_store.h"
#include "tests/support/limited_disk.h"
#include "tests/support/temporary_directory.h"

namespace bench {

/// Kills writers of an item store at random moments while this program, which has no other thread, reads what they
/// write. A writer stores numbered values in two items alternately, as fast as it can. It dies at a random byte of its
/// writes; every other writer dies after a random number of this program's reads instead.
class KilledWriters {
 public:
  struct Counts {
    unsigned kills = 0;
    unsigned storing = 0;      ///< of these, while storing a value
    unsigned halfDone = 0;     ///< of these, with an unfinished transaction on the disk
    std::uint64_t stored = 0;  ///< values that the store confirmed to their writers
    std::uint64_t reads = 0;
    unsigned lost = 0;  ///< reads that found no value, or one older than a value stored or read before
    unsigned torn = 0;  ///< reads that found a value that no writer had stored
    unsigned left = 0;  ///< files beside the store after the next store operation
    std::chrono::microseconds longestRead{};  ///< while a writer did nothing except store
    std::vector<std::string> problems = {};
  };

  KilledWriters(std::filesystem::path parent, unsigned seed) : parent_(std::move(parent)), random_(seed) {
    void* memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("cannot allocate memory to share with a writer");
    progress_ = new (memory) Progress{};
  }
  KilledWriters(const KilledWriters&) = delete;
  KilledWriters& operator=(const KilledWriters&) = delete;
  ~KilledWriters() { munmap(progress_, sizeof(Progress)); }

  Counts run(unsigned kills) {
    constexpr unsigned killsOfAStore = 8;  // so that some die while they create it
    for (unsigned i = 0; i < kills; ++i) {
      if (i % killsOfAStore == 0) {
        directory_.emplace(parent_);
        progress_ = new (progress_) Progress{};
        seen_ = {};
      }
      killOne(directory_->path() / "items.sqlite", i % 2 == 0);
    }
    return counts_;
  }

 private:
  struct Progress {
    std::array<std::atomic<std::uint32_t>, 2> begun;  // by item: the number of the last value
    std::array<std::atomic<std::uint32_t>, 2> stored;
  };
  static constexpr std::array<const char*, 2> keys{"even", "odd"};

  /// A value of the length of part of a page to several pages; every byte depends on the number.
  static std::string valueOf(std::uint32_t number) {
    constexpr std::uint32_t mostBytes = 9'000;
    std::string value = std::to_string(number) + ' ';
    const std::size_t size = value.size() + number * 7'919U % mostBytes;
    while (value.size() < size) value += static_cast<char>(value.size() + number);
    return value;
  }

  void killOne(const std::filesystem::path& file, bool atAByte) {
    constexpr unsigned mostBytes = 120'000;  // of about four values
    constexpr unsigned mostReads = 16;
    const std::uint64_t bytes = atAByte ? random_() % mostBytes : UINT64_MAX;
    std::uint64_t reads = atAByte ? UINT64_MAX : random_() % mostReads;
    const std::array<std::uint32_t, 2> storedBefore{progress_->stored[0], progress_->stored[1]};
    const std::uint32_t begunBefore = lastBegun();
    const pid_t writer = fork();
    if (writer == 0) write(file, bytes);
    // Opened after the fork: SQLite's handles must not be used in another process.
    services::SQLiteStore reader(file, [&](const std::string& problem) { counts_.problems.push_back(problem); });
    int status = 0;
    for (; waitpid(writer, &status, WNOHANG) == 0; readBoth(reader)) {
      if (reads-- == 0) ::kill(writer, SIGKILL);
    }
    if (!WIFSIGNALED(status)) counts_.problems.push_back("a writer could not store a value");
    ++counts_.kills;
    counts_.storing += lastBegun() > begunBefore && progress_->stored[lastBegun() % 2] < lastBegun();
    for (std::size_t item : {0U, 1U}) counts_.stored += (progress_->stored[item] - storedBefore[item] + 1) / 2;
    counts_.halfDone += std::filesystem::exists(file.string() + "-journal");
    readBoth(reader);
    reader.setData("after", platform::Value::bytes(std::to_string(counts_.kills)));
    const auto files = std::filesystem::directory_iterator(file.parent_path());
    counts_.left += static_cast<unsigned>(std::distance(begin(files), end(files)) - 1);
  }

  [[nodiscard]] std::uint32_t lastBegun() const { return std::max(progress_->begun[0], progress_->begun[1]); }

  [[noreturn]] void write(const std::filesystem::path& file, std::uint64_t bytes) {
    const test::LimitedDisk disk(bytes, test::LimitedDisk::End::killed);
    services::SQLiteStore store(file, [](const std::string&) { _exit(1); });
    for (std::uint32_t number = lastBegun() + 1;; ++number) {
      const std::size_t item = number % 2;
      progress_->begun[item] = number;
      store.setData(keys[item], platform::Value::bytes(valueOf(number)));
      progress_->stored[item] = number;
    }
  }

  void readBoth(services::ItemStore& reader) {
    for (const std::size_t item : {0U, 1U}) {
      const std::uint32_t least = std::max<std::uint32_t>(progress_->stored[item], seen_[item]);
      const std::size_t problems = counts_.problems.size();
      const auto started = std::chrono::steady_clock::now();
      const std::optional<platform::Value> value = reader.data(keys[item]);
      const auto took = std::chrono::steady_clock::now() - started;
      counts_.longestRead = std::max(counts_.longestRead, std::chrono::ceil<std::chrono::microseconds>(took));
      if (counts_.problems.size() > problems) continue;
      ++counts_.reads;
      const std::uint32_t most = progress_->begun[item];
      const std::string text = value ? std::string(value->bytes().begin(), value->bytes().end()) : "";
      const auto number = static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
      counts_.lost += number < least;
      seen_[item] = number;
      counts_.torn += number > most || (value && text != valueOf(number));
    }
  }

  const std::filesystem::path parent_;
  std::mt19937 random_;
  Progress* progress_;
  std::array<std::uint32_t, 2> seen_{};
  std::optional<test::TemporaryDirectory> directory_;
  Counts counts_;
};

}  // namespace bench

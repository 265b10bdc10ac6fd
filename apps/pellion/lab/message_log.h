#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace pellion {

/// The messages from a phone of the lab to its page, as server-sent events. Only the last ones are kept, and of
/// states and chains only the last one. All operations are safe from any thread.
class MessageLog {
 public:
  struct Message {
    std::uint64_t id = 0;  ///< counts from 1
    std::string kind;      ///< "event", "state", "chain" or "refused"
    std::string data;      ///< one line of JSON
  };
  static constexpr std::size_t mostMessages = 50'000;
  static constexpr std::size_t mostBytes = 16U << 20;

  void append(std::string kind, std::string data);
  /// The kept messages after that id, at most `most`; waits for one up to `patience`. Nothing once the log has ended
  /// and the reader has them all.
  std::optional<std::vector<Message>> after(std::uint64_t id, std::size_t most, std::chrono::milliseconds patience);
  /// Wakes all readers; nothing follows.
  void end();

 private:
  void dropOldest();
  void drop(std::uint64_t id);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Message> messages_;
  std::size_t bytes_ = 0;
  std::uint64_t lastID_ = 0;
  std::uint64_t lastState_ = 0;
  std::uint64_t lastChain_ = 0;
  bool hasEnded_ = false;
};

}  // namespace pellion

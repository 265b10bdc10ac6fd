#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "pellion/lab/lab_phone.h"

namespace pellion {

/// A phone's messages as server-sent events (HTML Living Standard, 9.2), from the first one after an id until its log
/// or the lab ends. For one thread.
class LabEvents {
 public:
  /// `heartbeat` is how long the stream may be silent: after that a comment shows whether the page is still there.
  LabEvents(std::shared_ptr<LabPhone> phone, std::uint64_t after, std::chrono::milliseconds heartbeat,
            const std::atomic<bool>& isEnding);

  /// Waits for bytes and copies at most `most` of them; 0 at the end of the stream.
  std::size_t read(char* to, std::size_t most);

 private:
  void fill();

  std::shared_ptr<LabPhone> phone_;
  std::uint64_t last_;
  std::chrono::milliseconds heartbeat_;
  const std::atomic<bool>& isEnding_;
  std::string text_;
  std::size_t sent_ = 0;
};

}  // namespace pellion

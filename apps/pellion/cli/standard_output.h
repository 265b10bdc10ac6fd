#pragma once

#include <array>
#include <streambuf>

namespace pellion {

/// Writes to a file descriptor. When the reader of a pipe has gone away, ends the program as SIGPIPE does, whichever
/// thread writes, and without a text: what cleanUpOnSignal() was given runs first. A program that was started with
/// SIGPIPE ignored sees an error instead.
class StandardOutput : public std::streambuf {
 public:
  explicit StandardOutput(int descriptor);

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  const int descriptor_;
  std::array<char, 1 << 14> buffer_{};
};

}  // namespace pellion

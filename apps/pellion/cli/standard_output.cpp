#include "pellion/cli/standard_output.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace pellion {
namespace {

/// To the process and not to this thread, which may block the signal: the thread that waits for signals cleans up
/// first; if there is none, the signal ends the program at once.
void endAsSignalled() {
  struct sigaction pipe {};
  if (sigaction(SIGPIPE, nullptr, &pipe) != 0 || pipe.sa_handler == SIG_IGN) return;
  kill(getpid(), SIGPIPE);
  for (;;) pause();
}

}  // namespace

StandardOutput::StandardOutput(int descriptor) : descriptor_(descriptor) {
  setp(buffer_.data(), buffer_.data() + buffer_.size());
}

StandardOutput::int_type StandardOutput::overflow(int_type character) {
  if (sync() != 0) return traits_type::eof();
  if (!traits_type::eq_int_type(character, traits_type::eof())) sputc(traits_type::to_char_type(character));
  return traits_type::not_eof(character);
}

int StandardOutput::sync() {
  for (const char* next = pbase(); next != pptr();) {
    const ssize_t size = write(descriptor_, next, static_cast<std::size_t>(pptr() - next));
    if (size >= 0) {
      next += size;
    } else if (errno == EPIPE) {
      endAsSignalled();
      return -1;
    } else if (errno != EINTR) {
      return -1;
    }
  }
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  return 0;
}

}  // namespace pellion

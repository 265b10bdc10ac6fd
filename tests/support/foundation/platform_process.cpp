#include "tests/support/platform_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string_view>

#include "platform/reference.h"
#include "platform/send.h"

extern "C" id NSDefaultRunLoopMode;

namespace test {
namespace {

id classNamed(const char* name) { return platform::classObject(objc_getClass(name)); }

/// Turns the run loop once, for at most ten milliseconds.
void turnRunLoop() {
  const platform::AutoreleasePool pool;
  const id date =
      platform::send<id(double)>(classNamed("NSDate"), sel_registerName("dateWithTimeIntervalSinceNow:"), 0.01);
  const id runLoop = platform::send<id()>(classNamed("NSRunLoop"), sel_registerName("currentRunLoop"));
  platform::send<bool(id, id)>(runLoop, sel_registerName("runMode:beforeDate:"), NSDefaultRunLoopMode, date);
}

}  // namespace

struct PlatformProcess::State {
  platform::AutoreleasePool pool;
};

PlatformProcess::PlatformProcess() : state_(std::make_unique<State>()) {}
PlatformProcess::~PlatformProcess() = default;

bool PlatformProcess::runUntil(const std::function<bool()>& isOver) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  do {
    turnRunLoop();
    if (isOver()) return true;
  } while (std::chrono::steady_clock::now() < end);
  return false;
}

struct OtherThread::State {
  platform::AutoreleasePool pool;
};

OtherThread::OtherThread(PlatformProcess& /*process*/) : state_(std::make_unique<State>()) {}
OtherThread::~OtherThread() = default;

// The error ends the program, so a child makes it.
std::string programmingErrorIn(const std::function<void()>& work) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDERR_FILENO);
    work();
    _exit(0);
  }
  close(ends[1]);
  std::string text(4096, '\0');
  std::size_t length = 0;
  for (ssize_t got = 0; (got = read(ends[0], &text[length], text.size() - length)) > 0;) {
    length += static_cast<std::size_t>(got);
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSIGNALED(status)) return "nothing";
  text.resize(std::min(text.find('\n'), length));
  constexpr std::string_view prefix = "PellionMessaging: ";
  return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

}  // namespace test

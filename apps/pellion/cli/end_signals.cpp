#include "pellion/cli/end_signals.h"

#include <csignal>
#include <thread>
#include <utility>
#include <vector>

namespace pellion {
namespace {

sigset_t blockedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  struct sigaction hangup {};
  if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN) sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

/// Calls one after the other, each at a signal. The last one is called at the signal that ends the program; SIGPIPE
/// ends it at once.
void callOnSignals(std::vector<std::function<void()>> calls) {
  std::signal(SIGXFSZ, SIG_IGN);  // the writing code receives the error and reports it
  sigset_t signals = blockedSignals();
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([signals, calls = std::move(calls)] {
    int received = 0;
    for (std::size_t next = 0; next < calls.size(); ++next) {
      sigwait(&signals, &received);
      if (received == SIGPIPE) next = calls.size() - 1;  // no one reads what an ordinary end would print
      calls[next]();
    }
    // So that the parent sees which signal ended the program. Scripts start background programs with SIGINT ignored.
    std::signal(received, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::raise(received);
  }).detach();
}

}  // namespace

void runUntilSignal(const std::function<void()>& start) {
  const sigset_t signals = blockedSignals();
  start();
  int received = 0;
  sigwait(&signals, &received);
}

void cleanUpOnSignal(std::function<void()> cleanUp) { callOnSignals({std::move(cleanUp)}); }

void stopOnSignal(std::function<void()> stop, std::function<void()> cleanUp) {
  callOnSignals({std::move(stop), std::move(cleanUp)});
}

}  // namespace pellion

#include <unistd.h>

#include <csignal>
#include <iostream>

#include "pellion/command_line.h"
#include "pellion/timeline.h"

namespace {

/// Until SIGINT or SIGTERM, which are blocked before any thread starts and so wait here for all of them.
void runUntilSignal(const std::function<void()>& start) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  start();
  int received = 0;
  sigwait(&signals, &received);
}

}  // namespace

int main(int count, char** arguments) {
  return pellion::runCommandLine({arguments + 1, arguments + count}, {.out = std::cout,
                                                                      .err = std::cerr,
                                                                      .inColour = pellion::wantsColour(STDOUT_FILENO),
                                                                      .runUntilTold = runUntilSignal});
}

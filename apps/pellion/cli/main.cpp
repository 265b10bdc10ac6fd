#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "pellion/cli/command_line.h"
#include "pellion/cli/end_signals.h"
#include "pellion/cli/standard_output.h"
#include "pellion/timeline/timeline.h"

namespace {

/// The width that the user sets, else the terminal's, else 100.
std::size_t columns() {
  constexpr std::size_t usual = 100;
  constexpr std::size_t most = 1000;
  const char* set = std::getenv("COLUMNS");
  const std::size_t wanted = set != nullptr ? std::strtoul(set, nullptr, 10) : 0;
  if (wanted > 0 && wanted <= most) return wanted;
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

}  // namespace

int main(int count, char** arguments) {
  pellion::StandardOutput output(STDOUT_FILENO);
  std::ostream out(&output);
  return pellion::runCommandLine({arguments + 1, arguments + count},
                                 {.out = out,
                                  .err = std::cerr,
                                  .inColour = pellion::wantsColour(STDOUT_FILENO),
                                  .showsProgress = pellion::isTerminal(STDERR_FILENO),
                                  .inputIsTerminal = pellion::isTerminal(STDIN_FILENO),
                                  .columns = columns(),
                                  .runUntilEnd = pellion::runUntilSignal,
                                  .cleanUpOnSignal = pellion::cleanUpOnSignal,
                                  .stopOnSignal = pellion::stopOnSignal});
}

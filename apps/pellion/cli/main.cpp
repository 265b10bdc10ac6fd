#include <unistd.h>

#include <iostream>

#include "pellion/cli/command_line.h"
#include "pellion/cli/end_signals.h"
#include "pellion/cli/standard_output.h"
#include "pellion/timeline/timeline.h"

int main(int count, char** arguments) {
  pellion::StandardOutput output(STDOUT_FILENO);
  std::ostream out(&output);
  return pellion::runCommandLine({arguments + 1, arguments + count},
                                 {.out = out,
                                  .err = std::cerr,
                                  .inColour = pellion::wantsColour(STDOUT_FILENO),
                                  .showsProgress = pellion::isTerminal(STDERR_FILENO),
                                  .runUntilTold = pellion::runUntilSignal,
                                  .cleanUpOnSignal = pellion::cleanUpOnSignal});
}

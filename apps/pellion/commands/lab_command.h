#pragma once

#include <cstdint>

#include "pellion/run/surroundings.h"

namespace CLI {
class App;
}

namespace pellion {

struct LabArguments {
  std::uint16_t port = 0;
  bool opens = false;
};

void defineLab(CLI::App& app, LabArguments& arguments);

/// Serves the lab until the surroundings end it. Throws InputError for a port that is not available, and in a build
/// without the page.
void runLab(const LabArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion

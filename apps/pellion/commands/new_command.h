#pragma once

#include <optional>
#include <string>

#include "pellion/run/surroundings.h"

namespace pellion {

struct NewArguments {
  std::string name;
  std::optional<std::string> payload;  ///< the path of a file; else the scenario holds an example
  bool overwrites = false;
};

/// `pellion new`: writes a scenario about one notification, whose expectations are what a trial run has shown. Throws
/// InputError for a payload that cannot be read and a file that cannot be written.
void writeNewScenario(const NewArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion

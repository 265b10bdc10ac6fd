#pragma once

#include <cstddef>
#include <string>

#include "platform/value.h"

namespace pellion {

/// A scenario that names no files any more.
struct ChosenScenario {
  static constexpr std::size_t mostBytes = 1U << 20;
  static constexpr std::size_t mostNames = 100;  ///< of files

  std::string file;
  std::string text;  ///< its lines are those of the file
};

/// The scenario among files that a user has chosen together, texts by name. The payloads and the configuration that it
/// names stand in the place of their names. A browser does not tell the folders of files, so these do not count. Throws
/// InputError unless exactly one file is a scenario, and for a named file that was not chosen or is no JSON.
ChosenScenario scenarioAmong(const platform::Value& files);

}  // namespace pellion

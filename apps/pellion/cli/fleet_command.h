#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "pellion/run/surroundings.h"

namespace CLI {
class App;
}

namespace pellion {

struct FleetArguments {
  std::string plan;
  std::optional<std::string> server;
  std::optional<std::size_t> phones;
  std::optional<std::string> rate;
  std::optional<std::string> duration;
  std::uint64_t seed = 0;
  std::size_t threads = 0;  ///< 0: one for each core
  std::optional<std::string> csv;
  std::optional<std::string> json;
  std::optional<std::string> confirmedHost;
  bool isAudited = false;
  bool onlyReads = false;
};

void defineFleet(CLI::App& app, FleetArguments& arguments);

/// Returns the exit status: 1 if the audit finds a difference. Throws InputError.
int runFleet(const FleetArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion

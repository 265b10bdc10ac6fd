#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

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
  std::optional<std::string> master;
  bool isAudited = false;
  bool onlyReads = false;
};

}  // namespace pellion

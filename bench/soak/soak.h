#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "bench/soak/usage.h"

namespace soak {

struct Options {
  std::size_t notifications = 1'000'000;
  std::size_t phones = 1'000;
  std::size_t overHTTP = 10;       ///< one notification in this many uses HTTP; the others are answered in place
  std::filesystem::path examples;  ///< the folder of payloads
};

/// Both print their measurements as they go.
std::vector<Promise> soakNotifications(const Options& options);
std::vector<Promise> soakPhones(const Options& options);

}  // namespace soak

#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "bench/soak/usage.h"

namespace soak {

struct Options {
  std::size_t notifications = 1'000'000;
  std::size_t phones = 1'000;
  std::size_t overHTTP = 10;       ///< one of so many has its requests sent; the others' are answered in place
  std::filesystem::path examples;  ///< the folder of payloads
};

/// Both print what they measure on the way.
std::vector<Promise> soakNotifications(const Options& options);
std::vector<Promise> soakPhones(const Options& options);

}  // namespace soak

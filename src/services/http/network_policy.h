#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace services {

/// What an application's configuration says about connections. The verification of certificates cannot be switched
/// off.
struct NetworkPolicy {
  std::filesystem::path certificateAuthorities;      ///< a PEM file, trusted beside the system's own; empty for none
  std::vector<std::string> clearTextHosts;           ///< hosts besides loopback to which http is allowed
  std::chrono::milliseconds requestTimeout{60'000};  ///< without progress
  std::string sourceAddress = {};                    ///< connections begin at this address of the machine; empty: any
  enum class Redirects { followed, onlyToTheSameHost, delivered };
  Redirects redirects = Redirects::followed;  ///< others are delivered as they are
};

}  // namespace services

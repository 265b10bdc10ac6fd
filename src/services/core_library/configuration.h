#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log.h"
#include "platform/value.h"
#include "services/http/network_policy.h"

namespace services {

class PropertyListError;

/// The data of the core library, all from one property list (XML or binary). Optional entries may be absent:
/// the calls that read them then return nothing.
struct Configuration {
  std::optional<std::string> serverURL;  // SERVER_URL; this or DOMAIN must be present
  std::optional<std::string> domain;     // DOMAIN
  std::optional<std::string> portalID;
  std::optional<std::string> projectID;
  std::optional<std::string> mapID;
  std::optional<std::string> apID;
  std::optional<std::string> appVersionID;
  std::optional<std::string> frameworkID;
  std::optional<std::string> deviceID;
  std::optional<std::string> anonymousID;
  std::optional<std::string> bearerToken;
  std::optional<std::string> appGroup;
  std::optional<platform::Value> appMeta;
  std::string jwtSecret;
  bool isAnonymousUser = false;
  bool isAnonymousTrackingEnabled = false;
  bool isGzipEnabled = false;
  platform::LogLevel logLevel = platform::LogLevel::verbose;
  NetworkPolicy networkPolicy;
};

/// Its text is one line: the file, the key and what was expected.
class ConfigurationError : public std::runtime_error {
 public:
  ConfigurationError(const std::filesystem::path& path, std::string_view problem);
  explicit ConfigurationError(const PropertyListError& error);
  [[nodiscard]] const std::string& problem() const { return problem_; }  ///< without the file, unless it is unreadable

 private:
  std::string problem_;
};

/// The keys of the dictionary, in alphabetical order.
std::vector<std::string_view> configurationKeys();

/// Raises ConfigurationError for a missing or unreadable file, an unknown key, a value of the wrong kind, a required
/// key that is missing.
Configuration readConfiguration(const std::filesystem::path& path);

/// Does the same for a dictionary that will become the file `path`.
Configuration configurationFrom(const platform::Value& dictionary, const std::filesystem::path& path);

}  // namespace services

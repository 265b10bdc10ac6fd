#include "services/core_library/configuration.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <variant>

#include "services/property_list/property_list.h"
#include "value/printable_text.h"

namespace services {
namespace {

using platform::Value;

/// One key of the file and the member that it fills. The member's type decides which kind of value is expected.
struct Key {
  std::string_view name;
  std::variant<std::optional<std::string> Configuration::*, bool Configuration::*> member;
};

constexpr std::array keys{
    Key{"SERVER_URL", &Configuration::serverURL},
    Key{"DOMAIN", &Configuration::domain},
    Key{"PORTAL_ID", &Configuration::portalID},
    Key{"PROJECT_ID", &Configuration::projectID},
    Key{"MAP_ID", &Configuration::mapID},
    Key{"AP_ID", &Configuration::apID},
    Key{"APP_VERSION_ID", &Configuration::appVersionID},
    Key{"FRAMEWORK_ID", &Configuration::frameworkID},
    Key{"DEVICE_ID", &Configuration::deviceID},
    Key{"ANONYMOUS_ID", &Configuration::anonymousID},
    Key{"ANONYMOUS_USER", &Configuration::isAnonymousUser},
    Key{"ANONYMOUS_TRACKING", &Configuration::isAnonymousTrackingEnabled},
    Key{"BEARER_TOKEN", &Configuration::bearerToken},
    Key{"APP_GROUP", &Configuration::appGroup},
    Key{"GZIP", &Configuration::isGzipEnabled},
};

constexpr std::array<std::string_view, 5> otherKeys{"JWT_SECRET", "APP_META", "LOG_LEVEL", "CA_FILE",
                                                    "CLEAR_TEXT_HOSTS"};
constexpr std::array<std::string_view, 4> logLevels{"none", "warning", "info", "verbose"};  // in LogLevel's order

/// Reads one dictionary; every error names the file and the key.
class ConfigurationReader {
 public:
  ConfigurationReader(const Value& dictionary, const std::filesystem::path& path)
      : dictionary_(dictionary), path_(path) {}

  Configuration read() {
    for (const Value::Entry& entry : dictionary_.entries()) readEntry(entry.key.description(), entry.value);
    if (configuration_.serverURL.value_or("").empty() && configuration_.domain.value_or("").empty()) {
      fail("SERVER_URL", "is missing; give the server's URL, or the domain of the default server as DOMAIN");
    }
    if (configuration_.jwtSecret.empty()) fail("JWT_SECRET", "is missing; give the secret that signs request bodies");
    return std::move(configuration_);
  }

 private:
  void readEntry(const std::string& name, const Value& value) {
    if (const auto* key = std::ranges::find(keys, name, &Key::name); key != keys.end()) {
      std::visit([&](auto member) { assign(configuration_.*member, name, value); }, key->member);
    } else if (name == "JWT_SECRET") {
      configuration_.jwtSecret = string(name, value);
    } else if (name == "APP_META") {
      if (value.ifDictionary() == nullptr) fail(name, "must be a dictionary");
      configuration_.appMeta = value;
    } else if (name == "LOG_LEVEL") {
      const auto level = std::ranges::find(logLevels, string(name, value));
      if (level == logLevels.end()) fail(name, "must be one of none, warning, info, verbose");
      configuration_.logLevel = static_cast<platform::LogLevel>(level - logLevels.begin());
    } else if (name == "CA_FILE") {
      configuration_.networkPolicy.certificateAuthorities = path_.parent_path() / string(name, value);
      std::error_code problem;  // a name whose look-up fails is no file either
      if (!std::filesystem::is_regular_file(configuration_.networkPolicy.certificateAuthorities, problem)) {
        fail(name, "must name a file that exists; " + configuration_.networkPolicy.certificateAuthorities.string() +
                       " is none: give the path of certificates in PEM form, absolute or relative to this file");
      }
    } else if (name == "CLEAR_TEXT_HOSTS") {
      if (value.ifList() == nullptr) fail(name, "must be a list of host names");
      for (const Value& host : value.elements()) {
        configuration_.networkPolicy.clearTextHosts.push_back(string(name, host));
      }
    } else {
      fail(name, "is not a known key; the keys are " + knownKeys());
    }
  }

  void assign(std::optional<std::string>& member, const std::string& name, const Value& value) {
    member = string(name, value);
  }
  void assign(bool& member, const std::string& name, const Value& value) {
    if (!value.ifBoolean()) fail(name, "must be true or false");
    member = *value.ifBoolean();
  }

  // The values go into headers and URLs: a control character in one could only be an attack or a mistake.
  std::string string(const std::string& name, const Value& value) {
    const std::optional<std::string_view> text = value.ifString();
    if (!text) fail(name, "must be a string");
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    if (std::ranges::any_of(*text, isControl)) fail(name, "must not contain control characters");
    return std::string(*text);
  }

  static std::string knownKeys() {
    std::string text;
    for (const std::string_view key : configurationKeys()) text.append(text.empty() ? "" : ", ").append(key);
    return text;
  }

  [[noreturn]] void fail(const std::string& key, const std::string& expected) const {
    throw ConfigurationError(path_, key + " " + expected);
  }

  const Value& dictionary_;
  const std::filesystem::path& path_;
  Configuration configuration_;
};

}  // namespace

ConfigurationError::ConfigurationError(const std::filesystem::path& path, std::string_view problem)
    : std::runtime_error(value::printable(path.string() + ": " + std::string(problem))),
      problem_(value::printable(problem)) {}
ConfigurationError::ConfigurationError(const PropertyListError& error)
    : std::runtime_error(error.what()), problem_(error.what()) {}

std::vector<std::string_view> configurationKeys() {
  std::vector<std::string_view> names(otherKeys.begin(), otherKeys.end());
  for (const Key& key : keys) names.push_back(key.name);
  std::ranges::sort(names);
  return names;
}

Configuration readConfiguration(const std::filesystem::path& path) {
  try {
    const Value list = readPropertyList(path);
    if (list.ifDictionary() == nullptr) throw ConfigurationError(path, "must contain a dictionary");
    return configurationFrom(list, path);
  } catch (const PropertyListError& error) {
    throw ConfigurationError(error);
  }
}

Configuration configurationFrom(const Value& dictionary, const std::filesystem::path& path) {
  return ConfigurationReader(dictionary, path).read();
}

}  // namespace services

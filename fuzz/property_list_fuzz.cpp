#include "fuzz/target.h"
#include "services/core_library/configuration.h"
#include "services/property_list/property_list.h"

// Converts a property list, XML or binary, to Value, to the binary form and back; also reads it as a configuration.

namespace fuzz {
namespace {

using platform::Value;

constexpr const char* file = "list.plist";

void requireRoundTrip(const Value& value) {
  std::string written;
  try {
    written = services::binaryPropertyList(value, file);
  } catch (const services::PropertyListError& error) {
    requireOneLineAbout(file, error.what());
    // The binary form of small objects takes more room than XML.
    return require(std::string_view(error.what()).ends_with("larger than the 4 MiB that a property list may have"),
                   "a value that was read can be written", error.what());
  }
  // Compares the text and, for the kinds, the written form: nan does not even equal itself.
  const Value again = services::parsePropertyList(written, file);
  require(again.description() == value.description() && services::binaryPropertyList(again, file) == written,
          "a written value reads back as the same value", value.description(), again.description());
}

void requireWholeConfiguration(const Value& dictionary) {
  try {
    const services::Configuration configuration = services::configurationFrom(dictionary, file);
    require(!configuration.serverURL.value_or("").empty() || !configuration.domain.value_or("").empty(),
            "a configuration names the server");
    require(!configuration.jwtSecret.empty(), "a configuration has a signing secret");
  } catch (const services::ConfigurationError& error) {
    requireOneLineAbout(file, error.what());
  }
}

}  // namespace

void run(std::string_view input) {
  try {
    const Value value = services::parsePropertyList(input, file);
    requireRoundTrip(value);
    if (value.ifDictionary() != nullptr) requireWholeConfiguration(value);
  } catch (const services::PropertyListError& error) {
    requireOneLineAbout(file, error.what());
  }
}

}  // namespace fuzz

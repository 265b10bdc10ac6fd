#include "fuzz/target.h"
#include "host/configuration.h"
#include "host/property_list.h"

// A property list, XML or binary, to Value, to the binary form and back; and the configuration that it may be.

namespace fuzz {
namespace {

using platform::Value;

constexpr const char* file = "list.plist";

void requireRoundTrip(const Value& value) {
  std::string written;
  try {
    written = host::binaryPropertyList(value, file);
  } catch (const host::PropertyListError& error) {
    return requireOneLineAbout(file, error.what());  // numbers and characters that can be read, but not written
  }
  const Value again = host::parsePropertyList(written, file);
  require(again == value, "what is written reads as the same value", value.description(), again.description());
}

void requireWholeConfiguration(const Value& dictionary) {
  try {
    const host::Configuration configuration = host::configurationFrom(dictionary, file);
    require(!configuration.serverURL.value_or("").empty() || !configuration.domain.value_or("").empty(),
            "a configuration says where the server is");
    require(!configuration.jwtSecret.empty(), "a configuration has the secret that signs");
  } catch (const host::ConfigurationError& error) {
    requireOneLineAbout(file, error.what());
  }
}

}  // namespace

void run(std::string_view input) {
  try {
    const Value value = host::parsePropertyList(input, file);
    requireRoundTrip(value);
    if (value.ifDictionary() != nullptr) requireWholeConfiguration(value);
  } catch (const host::PropertyListError& error) {
    requireOneLineAbout(file, error.what());
  }
}

}  // namespace fuzz

#include "pellion/document/configuration_check.h"

#include <algorithm>

#include "pellion/text/similar_name.h"
#include "services/core_library/configuration.h"
#include "services/property_list/property_list.h"

namespace pellion {
namespace {

using platform::Value;

constexpr FileKind configurationFile{"a configuration, a JSON object", "all that a scenario configures must fit 4 MiB"};

/// The application's meta information may be anything that a property list can hold.
void checkMeta(std::string_view file, const JSONNode& node) {
  if (node.value.isNull()) throw errorAt(file, node.position, "APP_META cannot hold null; leave the entry out");
  for (const JSONMember& member : node.members) checkMeta(file, member.value);
  for (const JSONNode& element : node.elements) checkMeta(file, element);
}

/// An upper limit of the size as a binary property list, which takes two bytes per character of non-ASCII text.
std::size_t largestSize(const Value& value) {
  constexpr std::size_t markerNumberAndReferences = 40;
  const std::string_view text = value.text();
  const bool isASCII = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  std::size_t size = markerNumberAndReferences + (isASCII ? 1 : 2) * text.size();
  for (const Value& element : value.elements()) size += largestSize(element);
  for (const Value::Entry& entry : value.entries()) size += largestSize(entry.key) + largestSize(entry.value);
  return size;
}

void checkConfiguration(std::string_view file, const JSONNode& node) {
  const std::vector<std::string_view> keys = services::configurationKeys();
  for (const JSONMember& entry : node.members) {
    if (entry.value.value.isNull()) continue;
    if (std::ranges::find(keys, entry.name) == keys.end()) {
      throw errorAt(file, entry.position,
                    entry.name + " is not known; " + remedyForName(entry.name, keys, "known are", ""));
    }
    // Adds what every configuration needs to the entry; an empty SERVER_URL counts as absent.
    const Value dictionary = Value::dictionary({{"SERVER_URL", "http://127.0.0.1"},
                                                {"DOMAIN", "example.org"},
                                                {"JWT_SECRET", "-"},
                                                {entry.name, entry.value.value}});
    try {
      services::configurationFrom(dictionary, placeText(file, entry.position));
    } catch (const services::ConfigurationError& error) {
      throw errorAt(file, entry.position, error.problem());
    }
    if (entry.name == "APP_META") checkMeta(file, entry.value);
  }
}

}  // namespace

const Shape configurationShape{"an object", isObject, {}, nullptr, checkConfiguration, true};
const Shape sharedConfigurationShape{"an object", isObject, {}, nullptr, checkConfiguration, true, &configurationFile};

JSONNode defaultConfiguration() {
  return readJSON("the default configuration", R"({
    "PORTAL_ID": "portal-1", "PROJECT_ID": "project-1", "MAP_ID": "map-1", "AP_ID": "ap-1",
    "APP_VERSION_ID": "version-1", "FRAMEWORK_ID": "framework-1", "DEVICE_ID": "device-1",
    "BEARER_TOKEN": "example-bearer-token", "JWT_SECRET": "example-secret", "APP_GROUP": "group.example",
    "APP_META": {"name": "Example", "version": "1.0"}
  })");
}

void checkConfigurationSize(std::string_view file, const std::vector<const JSONNode*>& configurations) {
  // The header of the file, and the paths and URLs that a run adds.
  std::size_t size = 8192;
  for (const JSONNode* node : configurations) {
    size += largestSize(node->value);
    if (size > services::largestPropertyList) {
      throw errorAt(file, node->position,
                    "the configuration is too large; everything that a scenario configures must fit into a property "
                    "list of 4 MiB");
    }
  }
}

}  // namespace pellion

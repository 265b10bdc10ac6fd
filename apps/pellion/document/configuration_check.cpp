#include "pellion/document/configuration_check.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

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

void checkEntry(std::string_view file, const JSONMember& entry) {
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
  if (entry.name == "CA_FILE") {
    if (const auto fault = certificateFault(file, entry.value.value.text())) {
      throw errorAt(file, entry.position, *fault);
    }
  }
}

void checkConfiguration(std::string_view file, const JSONNode& node) {
  const std::vector<std::string_view> keys = services::configurationKeys();
  for (const JSONMember& entry : node.members) {
    if (entry.value.value.isNull()) continue;
    if (std::ranges::find(keys, entry.name) == keys.end()) {
      throw errorAt(file, entry.position,
                    entry.name + " is not known; " + remedyForName(entry.name, keys, "known are", ""));
    }
    checkEntry(file, entry);
  }
}

/// The document that names the file may be in another directory.
void makeCertificatePathAbsolute(std::string_view file, JSONNode& configuration) {
  std::vector<Value::Entry> entries;
  for (JSONMember& entry : configuration.members) {
    if (entry.name == "CA_FILE" && entry.value.value.ifString()) {
      const auto path = std::filesystem::path(file).parent_path() / entry.value.value.text();
      entry.value.value = Value(std::filesystem::absolute(path).string());
    }
    entries.push_back({entry.name, entry.value.value});
  }
  configuration.value = Value::dictionary(entries);
}

}  // namespace

const Shape configurationShape{"an object", isObject, {}, nullptr, checkConfiguration, true};
const Shape sharedConfigurationShape{
    "an object", isObject, {}, nullptr, checkConfiguration, true, &configurationFile, makeCertificatePathAbsolute};

std::optional<std::string> certificateFault(std::string_view file, std::string_view path) {
  constexpr std::size_t longestPreface = 1U << 20;  // what is before the first certificate
  const std::filesystem::path certificates = std::filesystem::path(file).parent_path() / path;
  std::error_code problem;  // a name whose look-up fails is no file either
  if (!std::filesystem::is_regular_file(certificates, problem)) {
    return "CA_FILE must name a file that exists; " + certificates.string() +
           " is none: give the path of certificates in PEM form, absolute or relative to this file";
  }
  std::ifstream reader(certificates, std::ios::binary);
  std::string text(longestPreface, '\0');
  reader.read(text.data(), longestPreface);
  text.resize(static_cast<std::size_t>(reader.gcount()));
  const bool isPEM = text.find("-----BEGIN CERTIFICATE-----") != std::string::npos ||
                     text.find("-----BEGIN TRUSTED CERTIFICATE-----") != std::string::npos;
  if (isPEM) return std::nullopt;
  return "CA_FILE must name certificates in PEM form; " + certificates.string() +
         (reader.is_open() ? " holds none: give a file with \"-----BEGIN CERTIFICATE-----\"" : " cannot be read");
}

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

#include "pellion/configuration_check.h"

#include <algorithm>

#include "host/configuration.h"
#include "host/property_list.h"

namespace pellion {
namespace {

using platform::Value;

/// The application's meta information may be anything that a property list can hold.
void checkMeta(std::string_view file, const JSONNode& node) {
  const auto refuse = [&](Position position, const char* what) {
    throw errorAt(file, position, std::string("APP_META cannot hold ") + what);
  };
  const auto checkText = [&](Position position, std::string_view text) {
    const bool isWritable = std::ranges::all_of(
        text, [](char c) { return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r'; });
    if (!isWritable) refuse(position, "control characters");
  };
  if (node.value.isNull()) refuse(node.position, "null; leave the entry out");
  if (node.value.isUnsigned()) refuse(node.position, "an integer above 9223372036854775807");
  checkText(node.position, node.value.text());
  for (const JSONMember& member : node.members) {
    checkText(member.position, member.name);
    checkMeta(file, member.value);
  }
  for (const JSONNode& element : node.elements) checkMeta(file, element);
}

std::size_t escapedSize(std::string_view text) {
  constexpr std::size_t moreForEach = 4;  // "&amp;"
  const auto escaped = std::ranges::count_if(text, [](char c) { return c == '&' || c == '<' || c == '>'; });
  return text.size() + moreForEach * static_cast<std::size_t>(escaped);
}

/// At most so many bytes of XML, indented by levels.
std::size_t largestSize(const Value& value, std::size_t level) {
  constexpr std::size_t tagsAndNumber = 40;
  const std::size_t line = level + tagsAndNumber;
  std::size_t size = line + escapedSize(value.text());
  for (const Value& element : value.elements()) size += largestSize(element, level + 1);
  for (const Value::Entry& entry : value.entries()) {
    size += line + escapedSize(entry.key.text()) + largestSize(entry.value, level + 1);
  }
  return size;
}

}  // namespace

void checkConfiguration(std::string_view file, const JSONNode& node) {
  for (const JSONMember& entry : node.members) {
    if (entry.value.value.isNull()) continue;
    // Beside the entry, what every configuration needs.
    const Value dictionary =
        Value::dictionary({{"SERVER_URL", "http://127.0.0.1"}, {"JWT_SECRET", "-"}, {entry.name, entry.value.value}});
    try {
      host::configurationFrom(dictionary, placeText(file, entry.position));
    } catch (const host::ConfigurationError& error) {
      throw errorAt(file, entry.position, error.problem());
    }
    if (entry.name == "APP_META") checkMeta(file, entry.value);
  }
}

void checkConfigurationSize(const Scenario& scenario) {
  // The head of the file, and the paths and URLs that a run completes.
  std::size_t size = 8192;
  for (const JSONNode* node : configurationsOf(scenario)) {
    size += largestSize(node->value, 1);
    if (size > host::largestPropertyList) {
      throw errorAt(scenario.file, node->position,
                    "the configuration is too large; all that a scenario configures must fit a property list of 4 MiB");
    }
  }
}

std::vector<const JSONNode*> configurationsOf(const Scenario& scenario) {
  std::vector<const JSONNode*> nodes{&scenario.configuration};
  for (const Step& step : scenario.steps) {
    if (step.kind->shape == &shapes::configuration || step.kind->name == "consent") nodes.push_back(&step.argument);
  }
  return nodes;
}

}  // namespace pellion

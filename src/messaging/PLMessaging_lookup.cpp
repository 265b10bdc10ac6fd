// Finding fields in a payload, whose layout the backend does not fix.

#include <vector>

#include "messaging/PLMessaging.h"
#include "platform/json_serialization.h"
#include "platform/log.h"

namespace {

using platform::Value;

constexpr const char* fastEnumeration = "countByEnumeratingWithState:objects:count:";

/// The part of one container that is not visited yet. At most one of the two members holds anything.
struct Rest {
  std::span<const Value::Entry> entries;
  std::span<const Value> elements;
};

template <class T>
const T& takeFirst(std::span<const T>& rest) {
  const T& first = rest.front();
  rest = rest.subspan(1);
  return first;
}

}  // namespace

// The search keeps its own stack, innermost container last, since the payload decides how deep it goes.
const Value* PLMessaging::findValueForKey(std::string_view key, const Value* dictionary) const {
  if (dictionary == nullptr) return nullptr;
  if (dictionary->ifList() != nullptr) {  // it enumerates its elements; asking it for the first one's value raises
    if (dictionary->count() > 0) dictionary->asDictionary();
    return nullptr;
  }
  std::vector<Rest> stack{{dictionary->asDictionary(fastEnumeration).entries(), {}}};
  while (!stack.empty()) {
    Rest& rest = stack.back();
    if (!rest.entries.empty()) {
      const auto& [name, value] = takeFirst(rest.entries);
      if (name.asString("isEqualToString:") == key) return &value;
      if (value.kind() >= Value::Kind::list) stack.push_back({value.entries(), value.elements()});
    } else if (!rest.elements.empty()) {
      const Value& element = takeFirst(rest.elements);
      if (element.ifDictionary() != nullptr) stack.push_back({element.entries(), {}});
    } else {
      stack.pop_back();
    }
  }
  return nullptr;
}

const Value* PLMessaging::getActionButtonById(const Value* identifier, const Value* buttons) const {
  if (buttons == nullptr) return nullptr;
  if (buttons->ifDictionary() != nullptr) {  // it enumerates its keys; asking the first one for "action" raises
    if (buttons->count() > 0) buttons->entries().front().key.asDictionary();
    return nullptr;
  }
  for (const Value& button : buttons->asList(fastEnumeration)) {
    const Value* action = button.asDictionary().find("action");
    if (action == nullptr) continue;
    const std::string_view text = action->asString("isEqualToString:");
    if (identifier != nullptr && text == identifier->ifString()) return &button;
  }
  return nullptr;
}

std::optional<Value> PLMessaging::parseBodyString(const Value& body) const {
  constexpr const char* method = "-[PLMessaging parseBodyString:]";
  const std::string_view text = body.asString("dataUsingEncoding:");
  platform::Error error;
  std::optional<Value> json = platform::JSONSerialization::JSONObjectWithData(
      {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, &error);
  if (json) {
    PL_LOG(platform::pellionLog, method, "Push notification JSON payload %@", *json);
  } else {
    PL_LOG(platform::pellionLog, method, "Error parsing push notification JSON payload: %@",
           error.localizedDescription);
  }
  return json;
}

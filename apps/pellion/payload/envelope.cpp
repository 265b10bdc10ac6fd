#include "pellion/payload/envelope.h"

#include <algorithm>
#include <array>
#include <utility>

namespace pellion {
namespace {

using platform::Value;

constexpr std::size_t deepest = 6;

bool holdsPayload(const Value& value) {
  const Value* aps = value.find("aps");
  return aps != nullptr && aps->ifDictionary() != nullptr;
}

/// The path of the first object with an "aps", or of the text of one.
std::optional<JSONPath> findPayload(const JSONNode& node, const JSONPath& path, bool inTexts) {
  if (path.size() > deepest) return std::nullopt;
  if (!path.empty() && holdsPayload(node.value)) return path;
  if (inTexts && node.value.text().starts_with('{')) {
    try {
      if (holdsPayload(readJSON("", node.value.text()).value)) return path;
    } catch (const InputError&) {  // some other text
    }
  }
  for (const JSONMember& member : node.members) {
    if (member.name == "aps") continue;
    if (auto found = findPayload(member.value, joined(path, member.name), inTexts)) return found;
  }
  for (std::size_t i = 0; i < node.elements.size(); ++i) {
    if (auto found = findPayload(node.elements[i], joined(path, i), inTexts)) return found;
  }
  return std::nullopt;
}

void add(JSONNode& object, Position position, std::string_view name, JSONNode node) {
  if (object.find(name) != nullptr) return;
  object.members.push_back({position, std::string(name), std::move(node)});
  std::vector<Value::Entry> entries;
  for (const JSONMember& member : object.members) entries.push_back({member.name, member.value.value});
  object.value = Value::dictionary(entries);
}

JSONNode emptyObject(Position position) { return {position, Value::dictionary({}), {}, {}}; }

/// Adds what the provider composes of a message's "notification" and "data".
void addMessage(JSONNode& payload, const JSONNode& message) {
  const JSONNode* notification = message.find("notification");
  if (notification != nullptr && notification->value.ifDictionary() != nullptr) {
    JSONNode alert = emptyObject(notification->position);
    for (const char* part : {"title", "subtitle", "body"}) {
      if (const JSONNode* text = notification->find(part)) add(alert, text->position, part, *text);
    }
    JSONNode aps = payload.find("aps") != nullptr ? *payload.find("aps") : emptyObject(notification->position);
    if (!alert.members.empty()) add(aps, notification->position, "alert", std::move(alert));
    std::erase_if(payload.members, [](const JSONMember& member) { return member.name == "aps"; });
    add(payload, notification->position, "aps", std::move(aps));
  }
  if (const JSONNode* data = message.find("data")) {
    for (const JSONMember& member : data->members) add(payload, member.position, member.name, member.value);
  }
}

bool isMessage(const JSONNode& node) {
  constexpr std::array<const char*, 7> recipients{"to",  "token", "tokens", "topic", "condition", "registration_ids",
                                                  "apns"};
  const auto has = [&](const char* name) { return node.find(name) != nullptr; };
  return (has("notification") || has("data")) && std::ranges::any_of(recipients, has);
}

}  // namespace

std::optional<Envelope> findEnvelope(const JSONNode& document) {
  if (document.find("aps") != nullptr || document.find("addInfo") != nullptr) return std::nullopt;
  const JSONNode* wrapped = document.find("message");
  const bool isWrapped = wrapped != nullptr && wrapped->value.ifDictionary() != nullptr;
  const JSONNode& message = isWrapped ? *wrapped : document;
  auto path = findPayload(document, {}, false);
  if (isMessage(message)) {
    Envelope envelope{path ? nodeAt(document, *path) : emptyObject(message.position), {}, false, {}};
    const std::size_t count = envelope.payload.members.size();
    addMessage(envelope.payload, message);
    if (!path || envelope.payload.members.size() != count) {
      envelope.text = "this is a request to a push provider; its payload is composed of what is at " +
                      pathText(isWrapped ? JSONPath{"message"} : JSONPath{});
      return envelope;
    }
  }
  const bool isText = !path;
  if (!path) path = findPayload(document, {}, true);
  if (!path) return std::nullopt;
  const JSONNode& node = nodeAt(document, *path);
  return Envelope{
      isText ? readJSON("", node.value.text()) : node, *path, isText,
      "this is a request to a push provider; its payload is at " + pathText(*path) + (isText ? ", as JSON text" : "")};
}

}  // namespace pellion

#include "pellion/explain/explain_payload.h"

#include <utility>

#include "messaging/PLMessaging.h"

namespace pellion {

using platform::Value;

const Value* Payload::info() const { return content ? content->value.ifDictionary() : nullptr; }

const Value* Payload::buttons() const { return buttonsPath ? &nodeAt(*content, *buttonsPath).value : nullptr; }

Place Payload::place(const Spot& spot) const {
  if (!spot.inAddInfo) return {positionAt(root, spot.path, spot.ofName), pathText(spot.path), {}};
  const JSONPath& outer = addInfoPlaces.front();
  if (!addInfo->ifString()) {
    const JSONPath path = joined(outer, spot.path);
    return {positionAt(root, path, spot.ofName), pathText(path), {}};
  }
  Place place{positionAt(root, outer), pathText(outer), Place::InText{pathText(spot.path), {}}};
  if (contentHasPlaces) place.inText->position = positionAt(*content, spot.path, spot.ofName);
  return place;
}

JSONNode readPayload(std::string_view file, std::string_view text) try {
  JSONNode root = readJSON(file, text);
  if (root.value.ifDictionary() == nullptr) {
    throw errorAt(file, root.position,
                  "a payload is a JSON object, as the platform delivers it; give one such as "
                  R"({"aps": {"alert": "…"}, "addInfo": "…"})");
  }
  return root;
} catch (const DocumentError& error) {
  if (!error.text().starts_with("not JSON")) throw;
  throw errorAt(file, error.position(), error.text() + "; correct it there, or let a JSON library write the payload");
}

Payload inspect(std::string_view file, JSONNode root) {
  PLMessaging& messaging = PLMessaging::shared();
  Payload payload{.file = std::string(file), .root = std::move(root)};
  payload.addInfo = messaging.findValueForKey("addInfo", &payload.root.value);
  payload.addInfoPlaces = placesFound("addInfo", payload.root.value);
  if (payload.addInfo == nullptr) return payload;
  if (payload.addInfo->ifDictionary() != nullptr) {
    payload.content = nodeAt(payload.root, payload.addInfoPlaces.front());
  } else if (payload.addInfo->ifString()) {
    const std::optional<Value> read = messaging.parseBodyString(*payload.addInfo);
    try {
      JSONNode node = readJSON("", payload.addInfo->text());
      payload.contentHasPlaces = read.has_value();
      if (read) payload.content = std::move(node);
    } catch (const DocumentError& error) {
      payload.textProblem = error;
      if (read) payload.content = placelessNode(*read);
    }
  }
  if (const Value* info = payload.info()) {
    const Value* buttons = messaging.findValueForKey("actionButton", info);
    if (buttons != nullptr) payload.buttonsPath = pathTo(*info, buttons);
  }
  return payload;
}

std::vector<JSONPath> placesFound(std::string_view key, Value dictionary) {
  constexpr std::size_t most = 8;
  std::vector<JSONPath> places;
  while (places.size() < most) {
    const Value* found = PLMessaging::shared().findValueForKey(key, &dictionary);
    if (found == nullptr) break;
    places.push_back(*pathTo(dictionary, found));
    dictionary = without(dictionary, places.back());
  }
  return places;
}

}  // namespace pellion

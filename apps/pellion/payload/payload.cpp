#include "pellion/payload/payload.h"

#include <algorithm>
#include <utility>

#include "messaging/PLMessaging.h"
#include "pellion/payload/envelope.h"
#include "pellion/payload/source_text.h"

namespace pellion {

using platform::Value;

const Value* Payload::info() const { return content ? content->value.ifDictionary() : nullptr; }

const Value* Payload::buttons() const { return buttonsPath ? &nodeAt(*content, *buttonsPath).value : nullptr; }

Place Payload::place(const Spot& spot) const {
  const auto inFile = [&](const JSONPath& path, bool ofName, const std::optional<Position>& inString) {
    const Position position = positionAt(root, path, ofName);
    if (!inString || source.empty()) return position;
    return positionInString(source, position, *inString).value_or(position);
  };
  const auto textOfPath = [&](const JSONPath& path) { return pathText(joined(prefix, path)); };
  if (!spot.inAddInfo) {
    return {inFile(spot.path, spot.ofName, spot.inString), textOfPath(spot.path), {}, spot.inString};
  }
  const JSONPath& outer = addInfoPlaces.front();
  if (!addInfo->ifString()) {
    const JSONPath path = joined(outer, spot.path);
    return {inFile(path, spot.ofName, spot.inString), textOfPath(path), {}};
  }
  Place::InText inner{pathText(spot.path), {}};
  if (contentHasPlaces) {
    inner.position = positionAt(*content, spot.path, spot.ofName);
    if (spot.inString) {
      inner.position = positionInString(addInfo->text(), *inner.position, *spot.inString).value_or(*inner.position);
    }
  }
  return {inFile(outer, false, inner.position), textOfPath(outer), std::move(inner)};
}

namespace {

/// Makes positions in a text those in the file, where the text begins at `string`.
void move(JSONNode& node, std::string_view source, Position string) {
  node.position = positionInString(source, string, node.position).value_or(string);
  for (JSONMember& member : node.members) {
    member.position = positionInString(source, string, member.position).value_or(string);
    move(member.value, source, string);
  }
  for (JSONNode& element : node.elements) move(element, source, string);
}

void moveInto(Payload& payload, Position string) {
  move(payload.root, payload.source, string);
  payload.source.clear();  // an escape of the payload is itself escaped there
}

void refuseOtherDocument(std::string_view file, const JSONNode& document) {
  const auto has = [&](const char* name) { return document.find(name) != nullptr; };
  if (has("aps") || has("addInfo")) return;
  if (has("steps")) {
    throw OtherDocument(file, document.position,
                        "this is a scenario, not a payload; play it with: pellion run " + std::string(file));
  }
  if (has("SERVER_URL") || has("JWT_SECRET") || has("BEARER_TOKEN")) {
    throw OtherDocument(file, document.position,
                        "this is a configuration, not a payload; give it as: pellion explain PAYLOAD --configuration " +
                            std::string(file));
  }
}

/// Scenarios may have comments, which make them no payload either.
void refuseCommentedScenario(std::string_view file, std::string_view text) try {
  refuseOtherDocument(file, readJSON(file, text, JSONForm::commented));
} catch (const OtherDocument&) {
  throw;
} catch (const DocumentError&) {  // the error of the strict reader says more
}

JSONNode readDocument(std::string_view file, std::string_view text) try {
  return readJSON(file, text);
} catch (const DocumentError& error) {
  refuseCommentedScenario(file, text);
  if (!error.text().starts_with("not JSON") || error.text().find(';') != std::string::npos) throw;
  throw errorAt(file, error.position(), error.text() + "; correct it there, or let a JSON library write the payload");
}

bool isVoIPRequest(const Value& value) {
  const Value* type = value.find("apns-push-type");
  if (type != nullptr && *type == Value("voip")) return true;
  return std::ranges::any_of(value.entries(), [](const Value::Entry& entry) {
    return entry.key != Value("aps") && isVoIPRequest(entry.value);
  });
}

}  // namespace

Payload readPayload(std::string_view file, std::string_view text) {
  JSONNode document = readDocument(file, text);
  refuseOtherDocument(file, document);
  if (document.value.ifDictionary() == nullptr) {
    throw errorAt(file, document.position,
                  "a payload is a JSON object, as the platform delivers it; give one such as "
                  R"({"aps": {"alert": "…"}, "addInfo": "…"})");
  }
  Payload payload{.file = std::string(file), .root = {}, .source = std::string(withoutByteOrderMark(text))};
  if (auto envelope = findEnvelope(document)) {
    payload.isVoIP = isVoIPRequest(document.value);
    payload.envelope = envelope->text;
    payload.prefix = envelope->path;
    payload.root = std::move(envelope->payload);
    if (envelope->isText) moveInto(payload, positionAt(document, envelope->path));
  } else {
    payload.root = std::move(document);
  }
  return payload;
}

namespace {

/// The module reads more levels than are judged here.
DocumentError tooDeep(const DocumentError& error, bool isRead) {
  return errorAt("", error.position(),
                 isRead ? "it is nested deeper than the 64 levels that are judged here; the module reads 512"
                        : "nested too deeply; the module reads at most 512 levels");
}

}  // namespace

void inspect(Payload& payload) {
  PLMessaging& messaging = PLMessaging::shared();
  payload.addInfo = messaging.findValueForKey("addInfo", &payload.root.value);
  payload.addInfoPlaces = placesFound("addInfo", payload.root.value);
  if (payload.addInfo == nullptr) return;
  if (payload.addInfo->ifDictionary() != nullptr) {
    payload.content = nodeAt(payload.root, payload.addInfoPlaces.front());
  } else if (payload.addInfo->ifString()) {
    const std::optional<Value> read = messaging.parseBodyString(*payload.addInfo);
    try {
      JSONNode node = readJSON("", payload.addInfo->text());
      payload.contentHasPlaces = read.has_value();
      if (read) payload.content = std::move(node);
    } catch (const DocumentError& error) {
      payload.textProblem = error.text().starts_with("nested too deeply") ? tooDeep(error, read.has_value()) : error;
      if (read) payload.content = placelessNode(*read);
    }
  }
  if (const Value* info = payload.info()) {
    const Value* buttons = messaging.findValueForKey("actionButton", info);
    if (buttons != nullptr) payload.buttonsPath = pathTo(*info, buttons);
  }
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

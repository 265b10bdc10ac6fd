#include "pellion/payload/key_problems.h"

#include <algorithm>
#include <array>
#include <functional>
#include <span>

#include "messaging/PLMessaging.h"
#include "pellion/payload/link_text.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/similar_name.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::array<std::string_view, 1> payloadKeys{"addInfo"};
constexpr std::array<std::string_view, 4> infoKeys{"pellionPnID", "conversion", "clickAction", "actionButton"};
constexpr std::array<std::string_view, 2> buttonKeys{"action", "clickAction"};
constexpr std::array<std::string_view, 2> goalKeys{"group", "event"};

using Visit = std::function<void(const Value& dictionary, const JSONPath& path)>;

/// Visits every object in the value, except below `skipped`.
void forEachObject(const Value& value, const JSONPath& path, const Value* skipped, const Visit& visit) {
  if (&value == skipped) return;
  if (value.ifDictionary() != nullptr) visit(value, path);
  for (const Value::Entry& entry : value.entries()) {
    forEachObject(entry.value, joined(path, entry.key.text()), skipped, visit);
  }
  for (std::size_t i = 0; i < value.elements().size(); ++i) {
    forEachObject(value.elements()[i], joined(path, i), skipped, visit);
  }
}

class KeySearch {
 public:
  explicit KeySearch(const Payload& payload) : payload_(payload) {}

  Problems run() {
    addFound("addInfo", payload_.addInfoPlaces, {false, {}}, "the payload");
    addUnread("addInfo", payload_.addInfo == nullptr);
    forEachObject(payload_.value(), {}, payload_.addInfo, [this](const Value& object, const JSONPath& path) {
      addMisspelt(object, payloadKeys, {false, path});
    });
    if (payload_.info() != nullptr) searchAddInfo(*payload_.info());
    return std::move(problems_);
  }

 private:
  void searchAddInfo(const Value& info) {
    for (const std::string_view key : infoKeys) {
      if (key != "actionButton") addUnread(key, info.find(key) == nullptr);
    }
    addUnread("actionButton", payload_.buttons() == nullptr);
    addFound("actionButton", placesFound("actionButton", info), {true, {}}, "what addInfo holds");
    addMisspelt(info, infoKeys, {true, {}});
    if (const Value* goal = info.find("conversion")) addMisspelt(*goal, goalKeys, {true, {"conversion"}});
    if (payload_.buttons() == nullptr) return;
    for (std::size_t i = 0; i < payload_.buttons()->elements().size(); ++i) {
      const Value& button = payload_.buttons()->elements()[i];
      if (button.ifDictionary() == nullptr) continue;
      const Spot spot{true, joined(*payload_.buttonsPath, i)};
      addFound("clickAction", placesFound("clickAction", button), spot, "its button");
      addMisspelt(button, buttonKeys, spot);
    }
  }

  /// Adds the places below `home` where the search finds a key, except those at its top level.
  void addFound(std::string_view key, const std::vector<JSONPath>& places, const Spot& home, const char* homeName) {
    const auto spotOf = [&](const JSONPath& place) { return Spot{home.inAddInfo, joined(home.path, place), true}; };
    const auto misplaced = std::ranges::find_if(places, [](const JSONPath& place) { return place.size() > 1; });
    const bool isFirst = misplaced == places.begin();
    const bool hasOther = places.size() > 1;
    if (!places.empty() && isFirst) {
      const Spot spot = spotOf(places.front());
      add("key-misplaced", key, spot,
          inQuotes(key) +
              " is found here only because the search goes deep; the notification handler does not look here",
          hasOther ? "remove this one, or the others if this one is meant"
                   : "move it to the top level of " + std::string(homeName));
      if (!hasOther) moveLast(spot, {home.inAddInfo, joined(home.path, key)});
    }
    for (std::size_t i = 1; i < places.size(); ++i) {
      add("key-repeated", key, spotOf(places[i]),
          inQuotes(key) + " stands at " + pathText(spotOf(places.front()).path) +
              " too, and which of them the search meets first is not certain on a phone",
          "leave only the one that is meant");
    }
  }

  /// Adds a key that is missing where the module reads it, if it exists elsewhere.
  void addUnread(std::string_view key, bool isMissing) {
    if (!isMissing) return;
    const auto look = [&](const Value& object, const JSONPath& path, bool inAddInfo) {
      const bool isOfButton = inAddInfo && payload_.buttonsPath && path.size() >= payload_.buttonsPath->size() &&
                              std::equal(payload_.buttonsPath->begin(), payload_.buttonsPath->end(), path.begin());
      if (object.find(key) == nullptr || (isOfButton && key == "clickAction")) return;
      const Spot spot{inAddInfo, joined(path, key), true};
      const bool isOfPayload = key == "addInfo";
      const std::string value = inQuotes(key) + ": " + shortened(compactJSON(*object.find(key)));
      add("key-misplaced", key, spot,
          inQuotes(key) + " stands at " + pathText(path) + ", where it is not read" +
              (isOfPayload ? "" : "; it belongs into the JSON text under \"addInfo\""),
          isOfPayload ? "move it to the top level of the payload" : "write at the top level of that text " + value);
      moveLast(spot, {!isOfPayload, {std::string(key)}});
    };
    forEachObject(payload_.value(), {}, payload_.addInfo,
                  [&](const Value& object, const JSONPath& path) { look(object, path, false); });
    if (payload_.info() == nullptr) return;
    forEachObject(*payload_.info(), {}, nullptr,
                  [&](const Value& object, const JSONPath& path) { look(object, path, true); });
  }

  /// Adds names in the object that look like one of the names that the module reads there.
  void addMisspelt(const Value& object, std::span<const std::string_view> known, const Spot& spot) {
    for (const Value::Entry& entry : object.entries()) {
      const std::string_view name = entry.key.text();
      if (std::ranges::find(known, name) != known.end()) continue;
      const auto meant = similarName(name, known);
      if (!meant) continue;
      add("key-misspelt", *meant, {spot.inAddInfo, joined(spot.path, name), true},
          "no code reads " + inQuotes(name) + "; it looks like " + inQuotes(*meant), "write " + inQuotes(*meant));
      if (object.find(*meant) == nullptr) moveLast(problems_.back().spot, {spot.inAddInfo, joined(spot.path, *meant)});
    }
  }

  void add(const char* code, std::string_view key, const Spot& spot, std::string text, std::string remedy) {
    problems_.push_back({code, spot, std::move(text), std::move(remedy), std::string(key)});
  }

  /// Lets the last problem be corrected by moving the value.
  void moveLast(const Spot& from, const Spot& to) {
    const JSONNode* root = from.inAddInfo ? &*payload_.content : &payload_.root;
    problems_.back().correction = {{from.inAddInfo, from.path, std::nullopt},
                                   {to.inAddInfo, to.path, nodeAt(*root, from.path).value}};
  }

  const Payload& payload_;
  Problems problems_;
};

/// Adds placeholders in texts other than URLs, which have a check of their own.
void addTemplates(const JSONNode& node, const Spot& spot, const Value* skipped, Problems& problems) {
  if (node.value.ifString() && skipped != nullptr && node.value == *skipped) return;
  const auto placeholder = node.value.ifString() ? unresolvedTemplate(node.value.text()) : std::nullopt;
  if (placeholder) {
    problems.push_back(
        {"template-unresolved", spot,
         "the text holds " + inQuotes(*placeholder) + ", which looks like a placeholder that nothing has replaced",
         "fill in the value before the payload is sent"});
  }
  for (const JSONMember& member : node.members) {
    if (member.name == "clickAction") continue;
    addTemplates(member.value, {spot.inAddInfo, joined(spot.path, member.name)}, skipped, problems);
  }
  for (std::size_t i = 0; i < node.elements.size(); ++i) {
    addTemplates(node.elements[i], {spot.inAddInfo, joined(spot.path, i)}, skipped, problems);
  }
}

}  // namespace

std::span<const std::string_view> addInfoKeys() { return infoKeys; }

Problems templateProblems(const Payload& payload) {
  Problems problems;
  addTemplates(payload.root, {}, payload.addInfo, problems);
  if (payload.info() != nullptr && payload.addInfo->ifString())
    addTemplates(*payload.content, {true, {}}, nullptr, problems);
  return problems;
}

Problems keyProblems(const Payload& payload) { return KeySearch(payload).run(); }

}  // namespace pellion

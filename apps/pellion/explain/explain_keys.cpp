#include "pellion/explain/explain_keys.h"

#include <algorithm>
#include <array>
#include <functional>

#include "pellion/document/similar_name.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::array<std::string_view, 1> payloadKeys{"addInfo"};
constexpr std::array<std::string_view, 4> addInfoKeys{"pellionPnID", "conversion", "clickAction", "actionButton"};
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

  std::vector<Problem> run() {
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
    for (const std::string_view key : addInfoKeys) {
      if (key != "actionButton") addUnread(key, info.find(key) == nullptr);
    }
    addUnread("actionButton", payload_.buttons() == nullptr);
    addFound("actionButton", placesFound("actionButton", info), {true, {}}, "what addInfo holds");
    addMisspelt(info, addInfoKeys, {true, {}});
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
    if (!places.empty() && places.front().size() > 1) {
      add("key-misplaced", key, spotOf(places.front()),
          inQuotes(key) +
              " is found here only because the search goes deep; the notification handler does not look here",
          "move it to the top level of " + std::string(homeName));
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
      add("key-misplaced", key, {inAddInfo, joined(path, key), true}, inQuotes(key) + " stands where it is not read",
          "move it to the top level of " + std::string(key == "addInfo" ? "the payload" : "what addInfo holds"));
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
          inQuotes(name) + " is read by nobody; it looks like " + inQuotes(*meant), "write " + inQuotes(*meant));
    }
  }

  void add(const char* code, std::string_view key, const Spot& spot, std::string text, std::string remedy) {
    problems_.push_back({code, spot, std::move(text), std::move(remedy), std::string(key)});
  }

  const Payload& payload_;
  std::vector<Problem> problems_;
};

}  // namespace

std::vector<Problem> keyProblems(const Payload& payload) { return KeySearch(payload).run(); }

}  // namespace pellion

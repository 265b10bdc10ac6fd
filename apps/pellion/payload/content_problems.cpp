#include "pellion/payload/content_problems.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <utility>

#include "pellion/payload/encoded_text.h"
#include "pellion/payload/key_problems.h"
#include "pellion/payload/link_text.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

bool isObjectText(std::string_view text) {
  try {
    return readJSON("", text).value.ifDictionary() != nullptr;
  } catch (const InputError&) {
    return false;
  }
}

bool isWholeNumber(const Value& value) {
  if (value.kind() == Value::Kind::integer) return true;
  if (value.kind() == Value::Kind::floating) return std::trunc(value.floating()) == value.floating();
  std::string_view digits = value.text();
  if (digits.starts_with('-')) digits.remove_prefix(1);
  return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether the number, or the digits, are more than 64 bits hold.
bool isTooLarge(const Value& value) {
  constexpr double limit = 9223372036854775808.0;  // 2^63
  if (value.kind() == Value::Kind::floating) return std::abs(value.floating()) >= limit;
  if (value.kind() == Value::Kind::integer) return value.isUnsigned() && value.integer() < 0;
  std::int64_t number = 0;
  const std::string_view digits = value.text();
  return std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc::result_out_of_range;
}

Edit replacing(const Spot& spot, Value value) { return {spot.inAddInfo, spot.path, std::move(value)}; }

/// "addInfo": "{…}" for the object.
std::string asAddInfo(const Value& object) {
  constexpr std::size_t longest = 160;
  return "\"addInfo\": " + shortened(inQuotes(compactJSON(object)), longest);
}

/// The problem of a text that the module cannot read.
Problem unreadableTextProblem(const Payload& payload, Spot spot) {
  const std::string_view text = payload.addInfo->text();
  if (const auto encoded = objectEncodedIn(text)) {
    return {encoded->code,
            spot,
            "the text of \"addInfo\" is " + encoded->form + ", not the JSON text of an object",
            "write the object's JSON text itself: " + asAddInfo(encoded->object),
            {},
            Level::error,
            {replacing(spot, compactJSON(encoded->object))}};
  }
  if (payload.textProblem) {
    constexpr std::string_view notJSON = "not JSON: ";
    std::string reason = payload.textProblem->text();
    if (reason.starts_with(notJSON)) reason.erase(0, notJSON.size());
    const std::size_t split = std::min(reason.find("; "), reason.size());
    std::string remedy = split < reason.size() ? reason.substr(split + 2) + "; " : std::string();
    const Edit repair = replacing(spot, repairedJSON(text));
    spot.inString = payload.textProblem->position();
    Problem problem{"addinfo-not-json", spot, "the text of \"addInfo\" is not JSON: " + reason.substr(0, split),
                    remedy + "let a JSON library write the text"};
    if (isObjectText(repair.value->text())) problem.correction = {repair};
    return problem;
  }
  const Value inner = readJSON("", text).value;
  return {"addinfo-not-object", spot, "the text of \"addInfo\" " + beingOf(inner) + "; that is no object",
          R"(make it the JSON text of an object: "addInfo": "{\"pellionPnID\":41}")"};
}

/// The edit that takes the one object out of a list.
std::vector<Edit> unwrapped(const Payload& payload, const Spot& spot) {
  const auto elements = payload.content->value.elements();
  if (elements.size() != 1 || elements.front().ifDictionary() == nullptr) return {};
  return {replacing(spot, compactJSON(elements.front()))};
}

struct Stray {
  JSONPath parent;
  std::vector<Value::Entry> entries;
};

void collectStrays(const Value& value, const JSONPath& path, std::vector<Stray>& strays) {
  Stray stray{path, {}};
  for (const std::string_view key : addInfoKeys()) {
    if (const Value* found = value.find(key)) stray.entries.push_back({key, *found});
  }
  if (!stray.entries.empty()) strays.push_back(std::move(stray));
  for (const Value::Entry& entry : value.entries()) collectStrays(entry.value, joined(path, entry.key.text()), strays);
}

/// The problem of a payload whose entries for addInfo stand outside of one.
std::optional<Problem> flatProblem(const Payload& payload) {
  std::vector<Stray> strays;
  collectStrays(payload.value(), {}, strays);
  if (strays.empty()) return std::nullopt;
  std::vector<Value::Entry> content;
  std::vector<Edit> edits;
  for (const Stray& stray : strays) {
    for (const Value::Entry& entry : stray.entries) {
      content.push_back(entry);
      edits.push_back({false, joined(stray.parent, entry.key.text()), std::nullopt});
    }
  }
  const Value object = Value::dictionary(content);
  edits.push_back({false, {"addInfo"}, Value(compactJSON(object))});
  std::string names;
  const Stray& first = strays.front();
  for (const Value::Entry& entry : first.entries) {
    names += (names.empty() ? "" : &entry == &first.entries.back() ? " and " : ", ") + inQuotes(entry.key.text());
  }
  const bool isOne = first.entries.size() == 1;
  return Problem{"payload-flat",
                 {false, joined(first.parent, first.entries.front().key.text()), true},
                 names + (isOne ? " stands at " : " stand at ") + pathText(first.parent) +
                     (isOne ? "; it belongs" : "; they belong") +
                     " into the JSON text under \"addInfo\", which is missing",
                 "write " + asAddInfo(object),
                 "addInfo",
                 Level::error,
                 std::move(edits)};
}

std::optional<Problem> halfProblem(const Value& conversion, const char* half, const Spot& goal) {
  const Spot spot{true, joined(goal.path, half)};
  const Value* value = conversion.find(half);
  if (value != nullptr && !value->ifString()) {
    return Problem{"goal-not-text", spot,
                   inQuotes(half) + " of the goal " + beingOf(*value) + ", which raises on every response",
                   "give it a text"};
  }
  if (value != nullptr && !value->text().empty()) return std::nullopt;
  return Problem{"goal-incomplete", value != nullptr ? spot : goal,
                 value != nullptr ? "the goal has an empty " + inQuotes(half)
                                  : "the goal has no " + inQuotes(half) + ", so \"(null)\" stands in its place",
                 "give \"conversion\" both \"group\" and \"event\"", half};
}

}  // namespace

std::optional<Problem> addInfoProblem(const Payload& payload) {
  if (payload.addInfo == nullptr) {
    if (auto flat = flatProblem(payload)) return flat;
    return Problem{"addinfo-missing",
                   {},
                   "the payload has no \"addInfo\", so the notification is not counted",
                   R"(give the payload "addInfo": "{\"pellionPnID\":41}", the JSON text of an object)",
                   "addInfo"};
  }
  const Spot spot{false, payload.addInfoPlaces.front()};
  if (payload.addInfo->ifDictionary() != nullptr) {
    return Problem{"addinfo-object",
                   spot,
                   "\"addInfo\" is an object, and reading it as JSON text raises",
                   "write the object as text: " + asAddInfo(*payload.addInfo),
                   {},
                   Level::error,
                   {replacing(spot, compactJSON(*payload.addInfo))}};
  }
  if (!payload.addInfo->ifString()) {
    return Problem{"addinfo-not-text", spot,
                   "\"addInfo\" " + beingOf(*payload.addInfo) + ", and reading it as JSON text raises",
                   R"(make it the JSON text of an object: "addInfo": "{\"pellionPnID\":41}")"};
  }
  if (!payload.content) return unreadableTextProblem(payload, spot);
  if (payload.info() != nullptr) return std::nullopt;
  return Problem{"addinfo-not-object",
                 spot,
                 "the text of \"addInfo\" holds a list, which raises where an object is read",
                 "write the object without the list around it",
                 {},
                 Level::error,
                 unwrapped(payload, spot)};
}

std::optional<Problem> idProblem(const Payload& payload) {
  const Value* id = payload.info()->find("pellionPnID");
  if (id == nullptr) {
    return Problem{"id-missing",
                   {true, {}},
                   "addInfo has no \"pellionPnID\" at its top level",
                   "give it the notification's id, a number from 1: \"pellionPnID\": 41",
                   "pellionPnID"};
  }
  const Spot spot{true, {"pellionPnID"}};
  constexpr const char* remedy = "give it the notification's id, a number from 1, such as 41";
  if (!id->isNumber() && !id->ifString()) {
    return Problem{"id-not-a-number", spot, "\"pellionPnID\" " + beingOf(*id) + ", and reading it as a number raises",
                   remedy};
  }
  if (isWholeNumber(*id) && isTooLarge(*id)) {
    return Problem{"id-not-a-number", spot,
                   "\"pellionPnID\" " + beingOf(*id) + ", more than 64 bits hold, so another number is read",
                   "give it a number from 1 to 9223372036854775807"};
  }
  const std::int64_t number = id->integerValue();
  const bool isWhole = isWholeNumber(*id);
  if (isWhole && number >= 1) return std::nullopt;
  if (unresolvedTemplate(id->text())) return std::nullopt;  // a finding of its own
  const std::string reading = *id == Value(number) ? "" : ", which is read as the number " + std::to_string(number);
  const char* fault = number < 1 ? "ids begin with 1" : "what is recorded is the value as it stands";
  return Problem{isWhole ? "id-below-one" : "id-not-a-number", spot,
                 "\"pellionPnID\" " + beingOf(*id) + reading + "; " + fault, remedy};
}

std::optional<Problem> goalProblem(const Payload& payload) {
  const Value* conversion = payload.info()->find("conversion");
  if (conversion == nullptr) return std::nullopt;
  const Spot spot{true, {"conversion"}};
  if (conversion->ifDictionary() == nullptr) {
    return Problem{"goal-not-an-object", spot,
                   "\"conversion\" " + beingOf(*conversion) + ", which raises on every response",
                   R"(write {"group": "shop", "event": "purchase"}, or leave it out)"};
  }
  auto problem = halfProblem(*conversion, "group", spot);
  return problem ? problem : halfProblem(*conversion, "event", spot);
}

}  // namespace pellion

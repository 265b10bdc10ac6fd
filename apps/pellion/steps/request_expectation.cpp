#include "pellion/steps/request_expectation.h"

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "pellion/document/statistics_status.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
#include "pellion/text/similar_name.h"

namespace pellion {
namespace {

using platform::Value;

/// Adds a row for a place if two texts differ; tokens are masked.
struct Comparison {
  std::string place;
  Mismatches& mismatches;

  void differ(const std::string& where, std::string_view wanted, std::string_view found) const {
    mismatches.push_back({place + where, maskedBearer(wanted), maskedBearer(found)});
  }
  void compare(const std::string& where, std::string_view wanted, std::string_view found) const {
    if (wanted != found) differ(where, wanted, found);
  }
  void compare(const std::string& where, const Value& wanted, const std::string* found) const {
    if (wanted.isNull() ? found == nullptr : found != nullptr && wanted.text() == *found) return;
    differ(where, wanted.isNull() ? absent : wanted.text(), found == nullptr ? absent : *found);
  }
};

void compareMethod(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison) {
  comparison.compare(", method", wanted.value.text(), found.method);
}

void comparePath(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison) {
  comparison.compare(", path", wanted.value.text(), found.path());
}

void compareQuery(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison) {
  if (const auto whole = wanted.value.ifString()) comparison.compare(", query", *whole, found.query());
  for (const JSONMember& item : wanted.members) {
    comparison.compare(", query item " + item.name, item.value.value, found.findQueryItem(item.name));
  }
}

void compareHeaders(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison) {
  for (const JSONMember& field : wanted.members) {
    comparison.compare(", header " + field.name, field.value.value, found.findHeader(field.name));
  }
}

/// What was found in the place of a status, with the names of the statuses if the wanted one is none of them.
std::string foundStatus(std::string_view wanted, std::string_view found) {
  const std::vector<std::string_view> names = allStatusNames();
  if (std::ranges::find(names, wanted) != names.end()) return std::string(found);
  return std::string(found) + "; " + remedyForName(wanted, names, "the statuses are");
}

/// For an entry that is absent: the name in the object that was probably meant.
std::string absentEntry(std::string_view name, const Value& object) {
  std::vector<std::string_view> names;
  for (const Value::Entry& entry : object.entries()) names.push_back(entry.key.text());
  const auto similar = similarName(name, names);
  return absent + (similar ? "; did you mean \"" + std::string(*similar) + "\"?" : "");
}

/// An object may have more entries than wanted; everything else must be equal. The status of a statistics entry may be
/// wanted by its name.
void compareJSON(const std::string& where, const Value& wanted, const Value* found, const Comparison& comparison) {
  if (found != nullptr && isObject(wanted) && isObject(*found)) {
    const std::string_view name = statusName(*found);
    for (const Value::Entry& entry : wanted.entries()) {
      if (!name.empty() && entry.key == Value("status") && entry.value.ifString()) {
        if (entry.value.text() != name) {
          comparison.differ(where + ".status", entry.value.text(), foundStatus(entry.value.text(), name));
        }
        continue;
      }
      if (found->find(entry.key.text()) == nullptr) {
        comparison.differ(where + "." + std::string(entry.key.text()), compactJSON(entry.value),
                          absentEntry(entry.key.text(), *found));
        continue;
      }
      compareJSON(where + "." + std::string(entry.key.text()), entry.value, found->find(entry.key.text()), comparison);
    }
  } else if (found != nullptr && isList(wanted) && isList(*found) &&
             wanted.elements().size() == found->elements().size()) {
    for (std::size_t i = 0; i < wanted.elements().size(); ++i) {
      compareJSON(where + "[" + std::to_string(i) + "]", wanted.elements()[i], &found->elements()[i], comparison);
    }
  } else if (found == nullptr || wanted != *found) {
    comparison.differ(where, compactJSON(wanted), found == nullptr ? absent : compactJSON(*found));
  }
}

void compareBody(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison) {
  if (!found.decodedBody) {
    if (!wanted.value.isNull()) comparison.differ(", body", compactJSON(wanted.value), "(no body)");
    return;
  }
  const DecodedBody& body = *found.decodedBody;
  if (const auto text = wanted.value.ifString()) return comparison.compare(", body", *text, body.content);
  if (wanted.value.isNull()) return comparison.differ(", body", "(no body)", body.content);
  for (const auto& [step, failed] : body.steps) {
    if (failed) comparison.differ(", body", "every layer opened and verified", step);
  }
  if (!body.json) return comparison.differ(", body", compactJSON(wanted.value), body.content);
  compareJSON(", body", wanted.value, &*body.json, comparison);
}

const Shape queryShape{"the whole query as a string, or an object of some of its items, null for absent",
                       [](const Value& value) { return isObject(value) || value.ifString().has_value(); },
                       {},
                       &shapes::textOrNull};
const Shape bodyShape{"the JSON of the body, its text as a string, or null for no body", [](const Value& value) {
                        return value.isNull() || value.ifString() || isObject(value) || isList(value);
                      }};

struct RequestPart {
  Field field;
  void (*compare)(const JSONNode& wanted, const ReceivedRequest& found, const Comparison& comparison);
};
const RequestPart parts[] = {
    {{"method", &shapes::text}, compareMethod}, {{"path", &shapes::text}, comparePath},
    {{"query", &queryShape}, compareQuery},     {{"headers", &shapes::textsByName}, compareHeaders},
    {{"body", &bodyShape}, compareBody},
};
const auto requestFields = [] {
  std::array<Field, std::size(parts)> all{};
  std::ranges::transform(parts, all.begin(), &RequestPart::field);
  return all;
}();

Mismatches compareRequest(const JSONNode& wanted, const ReceivedRequest& found, const std::string& place) {
  Mismatches mismatches;
  for (const RequestPart& part : parts) {
    if (const JSONNode* node = wanted.find(part.field.name)) part.compare(*node, found, {place, mismatches});
  }
  return mismatches;
}

std::string placeOf(std::size_t index) { return "request " + std::to_string(index + 1); }
std::string summary(const ReceivedRequest& request) { return request.method + " " + request.target; }

}  // namespace

const Shape requestShape{"an object with the expected parts of a request", isObject, requestFields};

void expectRequests(const JSONNode& wanted, const std::vector<ReceivedRequest>& found, Mismatches& mismatches) {
  const std::size_t wantedCount = wanted.elements.size();
  for (std::size_t i = 0; i < std::max(wantedCount, found.size()); ++i) {
    if (i >= found.size()) {
      mismatches.push_back({placeOf(i), maskedBearer(compactJSON(wanted.elements[i].value)), absent});
    } else if (i >= wantedCount) {
      mismatches.push_back({placeOf(i), absent, summary(found[i])});
    } else {
      std::ranges::move(compareRequest(wanted.elements[i], found[i], placeOf(i)), std::back_inserter(mismatches));
    }
  }
}

void expectRequestsInAnyOrder(const JSONNode& wanted, const std::vector<ReceivedRequest>& found,
                              Mismatches& mismatches) {
  // A bipartite matching by augmenting paths: an element with few conditions yields to one with more.
  constexpr auto none = static_cast<std::size_t>(-1);
  std::vector<std::size_t> takenBy(found.size(), none);
  std::vector<bool> tried;
  const std::function<bool(std::size_t)> place = [&](std::size_t element) {
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (tried[i] || !compareRequest(wanted.elements[element], found[i], "").empty()) continue;
      tried[i] = true;
      if (takenBy[i] == none || place(takenBy[i])) {
        takenBy[i] = element;
        return true;
      }
    }
    return false;
  };
  for (std::size_t element = 0; element < wanted.elements.size(); ++element) {
    tried.assign(found.size(), false);
    if (place(element)) continue;
    mismatches.push_back({"a request", maskedBearer(compactJSON(wanted.elements[element].value)), absent});
  }
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (takenBy[i] == none) mismatches.push_back({placeOf(i), absent, summary(found[i])});
  }
}

void expectElements(const std::string& what, std::span<const Value> wanted, std::span<const Value> found,
                    Mismatches& mismatches) {
  for (std::size_t i = 0; i < std::max(wanted.size(), found.size()); ++i) {
    const std::string place = what + " " + std::to_string(i + 1);
    if (i < wanted.size()) {
      compareJSON("", wanted[i], i < found.size() ? &found[i] : nullptr, {place, mismatches});
    } else {
      mismatches.push_back({place, absent, maskedBearer(compactJSON(found[i]))});
    }
  }
}

}  // namespace pellion

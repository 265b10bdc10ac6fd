#include "pellion/payload/problem.h"

#include <algorithm>
#include <span>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

using platform::Value;

Value editedAt(const Value& value, std::span<const JSONPath::value_type> path, const std::optional<Value>& change) {
  if (path.empty()) return change.value_or(Value());
  const auto rest = path.subspan(1);
  const bool removes = rest.empty() && !change;
  if (const auto* index = std::get_if<std::size_t>(&path.front())) {
    std::vector<Value> elements(value.elements().begin(), value.elements().end());
    const auto element = elements.begin() + static_cast<std::ptrdiff_t>(*index);
    if (removes) {
      elements.erase(element);
    } else {
      *element = editedAt(*element, rest, change);
    }
    return Value::list(elements);
  }
  const Value name(std::get<std::string>(path.front()));
  std::vector<Value::Entry> entries(value.entries().begin(), value.entries().end());
  const auto entry = std::ranges::find(entries, name, &Value::Entry::key);
  if (removes) {
    if (entry != entries.end()) entries.erase(entry);
  } else if (entry != entries.end()) {
    entry->value = editedAt(entry->value, rest, change);
  } else {
    entries.push_back({name, editedAt(Value::dictionary({}), rest, change)});
  }
  return Value::dictionary(entries);
}

}  // namespace

Value corrected(const Payload& payload, const std::vector<Edit>& edits) {
  Value root = payload.value();
  Value content = payload.content ? payload.content->value : Value::dictionary({});
  bool changesContent = false;
  for (const Edit& edit : edits) {
    Value& document = edit.inAddInfo ? content : root;
    document = editedAt(document, edit.path, edit.value);
    changesContent |= edit.inAddInfo;
  }
  if (!changesContent) return root;
  const JSONPath place = payload.addInfoPlaces.empty() ? JSONPath{"addInfo"} : payload.addInfoPlaces.front();
  const bool isText = payload.addInfo == nullptr || payload.addInfo->ifString().has_value();
  return editedAt(root, place, isText ? Value(compactJSON(content)) : content);
}

std::string inQuotes(std::string_view text) { return compactJSON(text); }

std::string shortened(const std::string& text, std::size_t longest) {
  return text.size() <= longest ? text : std::string(beginning(text, longest)) + "\u2026";
}

std::string beingOf(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::list: return "is a list";
    case Value::Kind::dictionary: return "is an object";
    default: return "is " + shortened(compactJSON(value), 40);
  }
}

}  // namespace pellion

#include "pellion/text/json_path.h"

#include <algorithm>
#include <cctype>
#include <span>

#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

bool isPlainName(std::string_view name) {
  const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  return !name.empty() && std::ranges::all_of(name, isPlain);
}

bool search(const Value& value, const Value* target, JSONPath& path) {
  if (&value == target) return true;
  for (const Value::Entry& entry : value.entries()) {
    path.emplace_back(std::string(entry.key.text()));
    if (search(entry.value, target, path)) return true;
    path.pop_back();
  }
  for (std::size_t i = 0; i < value.elements().size(); ++i) {
    path.emplace_back(i);
    if (search(value.elements()[i], target, path)) return true;
    path.pop_back();
  }
  return false;
}

Value withoutEnd(const Value& value, std::span<const JSONPath::value_type> path) {
  const bool isEnd = path.size() == 1;
  if (const auto* index = std::get_if<std::size_t>(&path.front())) {
    std::vector<Value> elements(value.elements().begin(), value.elements().end());
    const auto element = elements.begin() + static_cast<std::ptrdiff_t>(*index);
    if (isEnd) {
      elements.erase(element);
    } else {
      *element = withoutEnd(*element, path.subspan(1));
    }
    return Value::list(elements);
  }
  std::vector<Value::Entry> entries(value.entries().begin(), value.entries().end());
  const auto entry = std::ranges::find(entries, Value(std::get<std::string>(path.front())), &Value::Entry::key);
  if (isEnd) {
    entries.erase(entry);
  } else {
    entry->value = withoutEnd(entry->value, path.subspan(1));
  }
  return Value::dictionary(entries);
}

const JSONMember& memberOf(const JSONNode& node, const std::string& name) {
  return *std::ranges::find(node.members, name, &JSONMember::name);
}

}  // namespace

std::string pathText(const JSONPath& path) {
  std::string text = "$";
  for (const auto& step : path) {
    if (const auto* index = std::get_if<std::size_t>(&step)) {
      text += '[' + std::to_string(*index) + ']';
    } else if (const auto& name = std::get<std::string>(step); isPlainName(name)) {
      text += '.' + name;
    } else {
      text += '[' + compactJSON(name) + ']';
    }
  }
  return text;
}

JSONPath joined(JSONPath path, std::string_view name) {
  path.emplace_back(std::string(name));
  return path;
}

JSONPath joined(JSONPath path, std::size_t index) {
  path.emplace_back(index);
  return path;
}

JSONPath joined(JSONPath path, const JSONPath& rest) {
  path.insert(path.end(), rest.begin(), rest.end());
  return path;
}

std::optional<JSONPath> pathTo(const Value& root, const Value* target) {
  JSONPath path;
  if (!search(root, target, path)) return std::nullopt;
  return path;
}

Value without(const Value& root, const JSONPath& path) { return withoutEnd(root, path); }

const JSONNode& nodeAt(const JSONNode& root, const JSONPath& path) {
  const JSONNode* node = &root;
  for (const auto& step : path) {
    const auto* index = std::get_if<std::size_t>(&step);
    node = index != nullptr ? &node->elements.at(*index) : &memberOf(*node, std::get<std::string>(step)).value;
  }
  return *node;
}

Position positionAt(const JSONNode& root, const JSONPath& path, bool ofName) {
  if (!ofName || path.empty()) return nodeAt(root, path).position;
  const JSONNode& parent = nodeAt(root, {path.begin(), path.end() - 1});
  return memberOf(parent, std::get<std::string>(path.back())).position;
}

JSONNode placelessNode(const Value& value) {
  JSONNode node{{}, value, {}, {}};
  for (const Value::Entry& entry : value.entries()) {
    node.members.push_back({{}, std::string(entry.key.text()), placelessNode(entry.value)});
  }
  for (const Value& element : value.elements()) node.elements.push_back(placelessNode(element));
  return node;
}

}  // namespace pellion

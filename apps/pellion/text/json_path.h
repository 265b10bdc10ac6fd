#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "pellion/text/json_reader.h"
#include "platform/value.h"

namespace pellion {

/// The path from the top of a document to a value in it: names of entries and indices of elements.
using JSONPath = std::vector<std::variant<std::string, std::size_t>>;

/// "$.actionButton[1].action", "$["a name"]"
std::string pathText(const JSONPath& path);

JSONPath joined(JSONPath path, std::string_view name);
JSONPath joined(JSONPath path, std::size_t index);
JSONPath joined(JSONPath path, const JSONPath& rest);

/// The path to `target`, which is identified by its address and not by equality.
std::optional<JSONPath> pathTo(const platform::Value& root, const platform::Value* target);

/// The document without the entry or element at the path, which is not empty and exists.
platform::Value without(const platform::Value& root, const JSONPath& path);

/// The position of the value at the path, or of its name. The path exists.
Position positionAt(const JSONNode& root, const JSONPath& path, bool ofName = false);
const JSONNode& nodeAt(const JSONNode& root, const JSONPath& path);

/// The same value without positions.
JSONNode placelessNode(const platform::Value& value);

}  // namespace pellion

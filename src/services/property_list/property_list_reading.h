#pragma once

#include <string>
#include <string_view>

#include "platform/value.h"

// The two forms of a property list. All functions raise PropertyListError, which mentions the file `name`.

namespace services {

/// Returns the same document with every scalar in a form that libplist reads exactly. libplist accepts what a
/// configuration must not have (text that is no number, a key without a value) and reads 0041 as octal. A document
/// that passes this check is safe for libplist.
std::string checkedXMLPropertyList(std::string_view text, std::string_view name);

/// Reads the binary form. Its objects refer to each other: a tree that would exceed all memory through circular or
/// repeated references is rejected.
platform::Value readBinaryPropertyList(std::string_view data, std::string_view name);

}  // namespace services

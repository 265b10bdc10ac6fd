#pragma once

#include <string>
#include <string_view>

#include "platform/value.h"

// The two forms of a property list. All raise PropertyListError, which mentions the file `name`.

namespace host {

/// The same document with every scalar as libplist reads it exactly. libplist forgives what a reader of a
/// configuration must not (a number that is none, a key without a value) and takes 0041 for an octal number; whatever
/// passes here is safe to give to it.
std::string checkedXMLPropertyList(std::string_view text, std::string_view name);

/// Reads the binary form. Its objects refer to each other: a tree that circular or repeated references would let grow
/// beyond all memory is refused.
platform::Value readBinaryPropertyList(std::string_view data, std::string_view name);

}  // namespace host

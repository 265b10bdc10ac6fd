#pragma once

#include <string_view>

// libplist forgives what a reader of a configuration must not (a number that is none, a key without a value), and
// trusts binary files about their size: shared or circular references may grow a small one beyond all memory.
// Whatever passes here is safe to give to it.

namespace host {

/// Both raise PropertyListError, which mentions the file `name`.
void checkXMLPropertyList(std::string_view text, std::string_view name);
void checkBinaryPropertyList(std::string_view data, std::string_view name);

}  // namespace host

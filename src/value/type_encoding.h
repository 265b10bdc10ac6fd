#pragma once

#include <optional>
#include <string>

namespace value {

/// A method's type encoding in short form: one letter for its result and one for each argument, receiver and selector
/// included. Frame offsets, qualifiers, class names and the types that pointers point at are left out: '^' is any
/// pointer and '?' a block. Returns nothing for a null or malformed encoding, and for structures passed by value.
std::optional<std::string> typeLetters(const char* types);

}  // namespace value

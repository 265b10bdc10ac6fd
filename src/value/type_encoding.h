#pragma once

#include <optional>
#include <string>
#include <vector>

namespace value {

/// A method's type encoding in short form: one letter for its result and one for each argument, receiver and selector
/// included. Frame offsets, qualifiers, class names and the types that pointers point at are left out: '^' is any
/// pointer and '?' a block. Returns nothing for a null or malformed encoding, and for structures passed by value.
std::optional<std::string> typeLetters(const char* types);

/// The encodings of a method's result and of each argument, without frame offsets. `types` is well-formed.
std::vector<std::string> typeParts(const char* types);

/// Raises NSInvalidArgumentException for a message that is sent with the types `call` to a method of other types.
[[noreturn]] void raiseOtherTypes(const char* className, const char* selector, bool isClassMethod, const char* call,
                                  const char* declared);

}  // namespace value

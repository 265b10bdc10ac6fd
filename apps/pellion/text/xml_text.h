#pragma once

#include <string>
#include <string_view>

namespace pellion {

/// Escapes printable text for XML.
std::string xmlEscaped(std::string_view text);

/// ` name="value"`, with the value made printable.
std::string xmlAttribute(const char* name, std::string_view value);

}  // namespace pellion

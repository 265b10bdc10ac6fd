#pragma once

#include <string>
#include <string_view>

namespace value {

/// Returns the text with broken UTF-8 replaced by U+FFFD.
std::string wellFormed(std::string_view text);

/// Does the same and writes control characters as escapes: text from outside must neither break a line in two nor
/// control a terminal.
std::string printable(std::string_view text);

}  // namespace value

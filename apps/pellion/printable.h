#pragma once

#include <string>
#include <string_view>

namespace pellion {

/// The text with U+FFFD in the place of broken UTF-8.
std::string wellFormed(std::string_view text);

/// The same with control characters written as escapes: what a request holds must not steer a terminal.
std::string printable(std::string_view text);

/// At most so many bytes from the beginning of the text, whole characters.
std::string_view beginning(std::string_view text, std::size_t largest);

/// How many columns a text takes: its characters, as long as they are narrow.
std::size_t columns(std::string_view text);

}  // namespace pellion

#pragma once

#include <string_view>

#include "value/printable_text.h"

namespace pellion {

using host::printable;
using host::wellFormed;

/// At most so many bytes from the beginning of the text, whole characters.
std::string_view beginning(std::string_view text, std::size_t largest);

/// How many columns a text takes: its characters, as long as they are narrow.
std::size_t columns(std::string_view text);

}  // namespace pellion

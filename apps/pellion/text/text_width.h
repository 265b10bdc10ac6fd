#pragma once

#include <string_view>

#include "value/printable_text.h"

namespace pellion {

using value::printable;
using value::wellFormed;

/// The longest beginning of the text with at most `largest` bytes, in whole characters.
std::string_view beginning(std::string_view text, std::size_t largest);

/// The number of columns of a text: its characters, as long as they are narrow.
std::size_t columns(std::string_view text);

}  // namespace pellion

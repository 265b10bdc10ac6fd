#pragma once

#include <optional>
#include <string_view>

#include "pellion/text/json_reader.h"

namespace pellion {

/// The offset of a position in a text.
std::size_t offsetOf(std::string_view text, Position position);

/// Where in a document the character stands that its string at `string` holds at `inside`: escapes count as what they
/// stand for. Nothing if no string is there or it is shorter.
std::optional<Position> positionInString(std::string_view document, Position string, Position inside);

}  // namespace pellion

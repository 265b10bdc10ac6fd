#pragma once

#include <stdexcept>
#include <string_view>

#include "value/printable_text.h"

namespace pellion {

/// The input that the caller of the command gave is unusable. The text is one line that says where it is, what is wrong
/// and what would be right. The error ends the command with status 2.
class InputError : public std::runtime_error {
 public:
  explicit InputError(std::string_view text) : std::runtime_error(value::printable(text)) {}
};

}  // namespace pellion

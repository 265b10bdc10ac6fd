#pragma once

#include <stdexcept>

namespace pellion {

/// What the caller of the command gave is not usable. The text is one line that says where, what is wrong and what
/// would be right; it ends the command with status 2.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace pellion

#pragma once

#include <stdexcept>

namespace host {

/// An error for which the platform ends a program. It ends this program too, unless code that simulates a program
/// catches it to report it. The module never catches it.
class ProgrammingError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

}  // namespace host

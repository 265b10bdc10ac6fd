#pragma once

#include <stdexcept>

namespace host {

/// What the platform ends a program for. It ends this one too, unless somebody who plays a program catches it to tell
/// of it; the module never does.
class ProgrammingError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

}  // namespace host

#pragma once

#include <string>
#include <vector>

#include "pellion/payload/problem.h"

namespace pellion {

/// A problem with its place in a file, as it is reported.
struct Finding {
  Level level = Level::error;
  std::string code;
  Place place;
  std::string text;
  std::string remedy;
  std::vector<Edit> correction = {};  ///< empty where only the author knows what is meant
};

inline const char* nameOf(Level level) { return level == Level::error ? "error" : "warning"; }

}  // namespace pellion

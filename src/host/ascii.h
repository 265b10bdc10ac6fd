#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "host/utf8.h"

namespace host {

/// Lower case for protocol words, which are ASCII whatever the locale.
inline std::string asciiLowercase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), lowerASCII);
  return lower;
}

}  // namespace host

#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace host {

/// Lower case for protocol words, which are ASCII whatever the locale.
inline std::string asciiLowercase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

}  // namespace host

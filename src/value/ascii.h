#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "value/utf8.h"

namespace value {

// For the words of protocols, which are ASCII in every locale.

inline std::string asciiLowercase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), lowerASCII);
  return lower;
}

inline bool equalsInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, lowerASCII, lowerASCII);
}

/// Whether `text` is a token of RFC 9110: a method or the name of a header field.
inline bool isToken(std::string_view text) {
  static constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    const char lower = lowerASCII(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || marks.find(c) != std::string_view::npos;
  });
}

}  // namespace value

#pragma once

#include <string>
#include <string_view>

#include "platform/value.h"

namespace value {

/// Two lower-case digits for each byte.
inline std::string hexText(platform::ByteView bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace value

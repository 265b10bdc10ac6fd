#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace value {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Returns the character that begins at `at` and moves `at` after it. Broken UTF-8 gives the replacement character.
char32_t nextCharacter(std::string_view text, std::size_t& at);

/// Returns nothing for text that is not well-formed in its encoding. `encoding` is a name that ICU knows.
std::optional<std::string> toUTF8(std::string_view text, const char* encoding);

bool isWhiteSpace(char32_t character);

constexpr char lowerASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace value

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// The character that begins at `at`, which moves behind it; the replacement character for broken UTF-8.
char32_t nextCharacter(std::string_view text, std::size_t& at);

/// Nothing for text that is not well-formed in its encoding, which ICU knows by name.
std::optional<std::string> toUTF8(std::string_view text, const char* encoding);

bool isWhiteSpace(char32_t character);

constexpr char lowerASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace host

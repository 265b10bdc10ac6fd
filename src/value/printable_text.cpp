#include "value/printable_text.h"

#include <array>
#include <cstdio>

#include "value/utf8.h"

namespace value {
namespace {

bool isControl(char32_t character) { return character < 0x20 || (character >= 0x7F && character < 0xA0); }

std::string copied(std::string_view text, bool escapesControls) {
  std::string copy;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t start = at;
    const char32_t character = nextCharacter(text, at);
    if (character == replacementCharacter) {
      copy += "\uFFFD";
    } else if (escapesControls && isControl(character)) {
      std::array<char, 16> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(character));
      copy += escape.data();
    } else {
      copy += text.substr(start, at - start);
    }
  }
  return copy;
}

}  // namespace

std::string wellFormed(std::string_view text) { return copied(text, false); }
std::string printable(std::string_view text) { return copied(text, true); }

}  // namespace value

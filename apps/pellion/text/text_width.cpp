#include "pellion/text/text_width.h"

#include "value/utf8.h"

namespace pellion {

std::string_view beginning(std::string_view text, std::size_t largest) {
  if (text.size() <= largest) return text;
  while (largest > 0 && (text[largest] & 0xC0) == 0x80) --largest;
  return text.substr(0, largest);
}

std::size_t columns(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) value::nextCharacter(text, at);
  return count;
}

}  // namespace pellion

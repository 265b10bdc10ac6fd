#include "host/utf8.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace host {

char32_t nextCharacter(std::string_view text, std::size_t& at) {
  UChar32 character;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside ICU's macro
  U8_NEXT_OR_FFFD(text, at, text.size(), character);
#pragma GCC diagnostic pop
  return static_cast<char32_t>(character);
}

bool isWhiteSpace(char32_t character) { return u_isUWhiteSpace(static_cast<UChar32>(character)) != 0; }

}  // namespace host

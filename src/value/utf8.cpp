#include "value/utf8.h"

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <memory>

namespace value {

char32_t nextCharacter(std::string_view text, std::size_t& at) {
  UChar32 character;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside ICU's macro
  U8_NEXT_OR_FFFD(text, at, text.size(), character);
#pragma GCC diagnostic pop
  return static_cast<char32_t>(character);
}

std::optional<std::string> toUTF8(std::string_view text, const char* encoding) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, void (*)(UConverter*)> converter(ucnv_open(encoding, &status), ucnv_close);
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  // UTF-8 takes at most three bytes for two of UTF-16, and no more bytes than UTF-32.
  std::string result(text.size() / 2 * 3 + 4, '\0');
  if (U_FAILURE(status) || result.size() > INT32_MAX) return std::nullopt;
  const std::int32_t length =
      ucnv_toAlgorithmic(UCNV_UTF8, converter.get(), result.data(), static_cast<std::int32_t>(result.size()),
                         text.data(), static_cast<std::int32_t>(text.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  result.resize(static_cast<std::size_t>(length));
  return result;
}

bool isWhiteSpace(char32_t character) { return u_isUWhiteSpace(static_cast<UChar32>(character)) != 0; }

}  // namespace value

#include "value/number_text.h"

#include <charconv>
#include <cmath>

namespace value {
namespace {

template <class Integer>
void appendInteger(std::string& text, Integer number) {
  char digits[24];
  text.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

void appendFloating(std::string& text, double number) {
  if (std::isnan(number)) {
    text += "nan";  // without the sign, which a NaN may have
    return;
  }
  // By itself, to_chars takes the shorter notation, 1e+05; the platform writes 100000.
  const double magnitude = std::fabs(number);
  const bool isPlain = magnitude == 0 || (magnitude >= 1e-4 && magnitude < 1e17);
  char digits[40];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number,
                                 isPlain ? std::chars_format::fixed : std::chars_format::scientific);
  text.append(digits, end.ptr);
}

}  // namespace

void appendNumber(std::string& text, const platform::Value& number) {
  switch (number.kind()) {
    case platform::Value::Kind::boolean: text += number.ifBoolean() == true ? '1' : '0'; break;
    case platform::Value::Kind::floating: appendFloating(text, number.floating()); break;
    default:
      if (number.isUnsigned()) {
        appendInteger(text, number.unsignedInteger());
      } else {
        appendInteger(text, number.integer());
      }
  }
}

}  // namespace value

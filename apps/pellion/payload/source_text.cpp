#include "pellion/payload/source_text.h"

#include "value/utf8.h"

namespace pellion {
namespace {

/// The character that an escape or a plain character at `at` stands for, behind which `at` is left.
char32_t readCharacter(std::string_view text, std::size_t& at) {
  if (text[at] != '\\' || at + 1 >= text.size()) return value::nextCharacter(text, at);
  const char escape = text[at + 1];
  at += 2;
  if (escape == 'u') {
    const bool isHighSurrogate = at + 1 < text.size() && value::lowerASCII(text[at]) == 'd' &&
                                 std::string_view("89abAB").find(text[at + 1]) != std::string_view::npos;
    at = std::min(text.size(), at + (isHighSurrogate ? 10 : 4));
  }
  return escape == 'n' ? U'\n' : U'x';
}

}  // namespace

std::size_t offsetOf(std::string_view text, Position position) {
  std::size_t offset = 0;
  for (int line = 1; line < position.line; ++line) {
    const std::size_t end = text.find('\n', offset);
    if (end == std::string_view::npos) return text.size();
    offset = end + 1;
  }
  for (int column = 1; column < position.column && offset < text.size(); ++column) value::nextCharacter(text, offset);
  return offset;
}

std::optional<Position> positionInString(std::string_view document, Position string, Position inside) {
  std::size_t at = offsetOf(document, string);
  if (at >= document.size() || document[at] != '"') return std::nullopt;
  ++at;
  Position outer{string.line, string.column + 1};
  for (Position inner; at < document.size();) {
    if (inner.line == inside.line && inner.column == inside.column) return outer;
    if (document[at] == '"') break;
    const std::size_t before = at;
    const bool endsLine = readCharacter(document, at) == U'\n';
    inner = endsLine ? Position{inner.line + 1, 1} : Position{inner.line, inner.column + 1};
    for (std::size_t each = before; each < at; value::nextCharacter(document, each)) ++outer.column;
  }
  return std::nullopt;
}

}  // namespace pellion

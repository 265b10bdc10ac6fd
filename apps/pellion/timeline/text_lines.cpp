#include "pellion/timeline/text_lines.h"

#include <algorithm>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"
#include "value/hexadecimal.h"

namespace pellion {

using platform::Value;

std::string painted(std::string_view text, Ink ink, bool inColour) {
  constexpr std::array<const char*, 6> codes{"",         "\x1b[2m",  "\x1b[1m",
                                             "\x1b[32m", "\x1b[31m", "\x1b[36m"};  // in Ink's order
  const bool isBlank = text.find_first_not_of(' ') == std::string_view::npos;
  if (!inColour || ink == Ink::plain || isBlank) return printable(text);
  return codes[static_cast<std::size_t>(ink)] + printable(text) + "\x1b[0m";
}

const Value& at(const Value& details, std::string_view key) {
  static const Value nothing;
  const Value* found = details.find(key);
  return found == nullptr ? nothing : *found;
}

std::string textOf(const Value& value) {
  if (const auto text = value.ifString()) return std::string(*text);
  if (const auto bytes = value.ifBytes()) return value::hexText(*bytes);
  return compactJSON(value);
}

std::string textAt(const Value& details, std::string_view key) { return textOf(at(details, key)); }

std::string padded(std::string text, std::size_t width) {
  text.append(width - std::min(width, columns(text)), ' ');
  return text;
}

std::size_t widthOfNames(const Pairs& pairs) {
  std::size_t width = 0;
  for (const auto& [name, value] : pairs) width = std::max(width, columns(printable(name)));
  return width;
}

Pairs entriesOf(const Value& dictionary) {
  Pairs pairs;
  for (const Value::Entry& entry : dictionary.entries()) {
    pairs.emplace_back(entry.key.description(), textOf(entry.value));
  }
  return pairs;
}

void appendText(Lines& lines, std::string_view text, Ink ink) {
  for (;;) {
    const std::size_t end = text.find('\n');
    lines.push_back({{std::string(text.substr(0, end)), ink}});
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

Lines pairsUnder(std::string_view title, const Value& details) {
  Lines lines{{{std::string(title)}}};
  const Pairs pairs = entriesOf(details);
  const std::size_t width = widthOfNames(pairs);
  for (const auto& [name, value] : pairs)
    lines.push_back({{padded(printable(name), width) + "  ", Ink::faint}, {value}});
  return lines;
}

}  // namespace pellion

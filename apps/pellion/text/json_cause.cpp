#include "pellion/text/json_cause.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "value/utf8.h"

namespace pellion {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view whiteSpace = " \t\r\n";
constexpr std::array<std::string_view, 8> typographicQuotes{"“", "”", "„", "‘", "’", "«", "»", "″"};
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> foreignWords{{{"True", "true"},
                                                                                     {"TRUE", "true"},
                                                                                     {"False", "false"},
                                                                                     {"FALSE", "false"},
                                                                                     {"None", "null"},
                                                                                     {"NULL", "null"},
                                                                                     {"nil", "null"},
                                                                                     {"undefined", "null"}}};
constexpr std::array<std::string_view, 4> noNumbers{"NaN", "Infinity", "inf", "nan"};

bool isWordCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$'; }

std::string_view quoteAt(std::string_view rest) {
  const auto quote = std::ranges::find_if(typographicQuotes, [&](auto each) { return rest.starts_with(each); });
  return quote == typographicQuotes.end() ? std::string_view() : *quote;
}

/// The last character before `offset` that is not white space.
std::optional<std::size_t> previousToken(std::string_view text, std::size_t offset) {
  const std::size_t found = offset == 0 ? std::string_view::npos : text.find_last_not_of(whiteSpace, offset - 1);
  return found == std::string_view::npos ? std::nullopt : std::optional(found);
}

std::optional<JSONCause> encodingCause(std::string_view text) {
  const bool hasMark = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
  const bool hasZeros =
      text.size() >= 4 && (text[0] == '\0') != (text[1] == '\0') && (text[0] == '\0') == (text[2] == '\0');
  if (!hasMark && !hasZeros) return std::nullopt;
  const char* encoding = hasMark ? "UTF-16" : text[0] == '\0' ? "UTF-16BE" : "UTF-16LE";
  JSONCause cause{0, "the text is UTF-16; save it as UTF-8"};
  if (auto converted = value::toUTF8(text, encoding)) {
    if (converted->starts_with(byteOrderMark)) converted->erase(0, byteOrderMark.size());
    cause.repair = {text.size(), std::move(*converted)};
  }
  return cause;
}

/// The typographic quotation mark that was meant to end the text from `start` to `end`.
std::optional<JSONCause> wrongEndOf(std::string_view text, std::size_t start, std::size_t end) {
  for (std::size_t at = start; at < end; ++at) {
    const std::string_view quote = quoteAt(text.substr(at));
    if (quote.empty()) continue;
    const std::size_t next = text.find_first_not_of(whiteSpace, at + quote.size());
    if (next == std::string_view::npos || std::string_view(":,}]").find(text[next]) == std::string_view::npos) continue;
    return JSONCause{at, std::string(quote) + " is a typographic quotation mark and ends no text; write \"",
                     JSONCause::Repair{quote.size(), "\""}};
  }
  return std::nullopt;
}

/// A text that was meant to end with a typographic quotation mark goes on to the next ordinary one, and the reader
/// stops behind that.
std::optional<JSONCause> wrongEndCause(std::string_view text, std::size_t offset) {
  for (std::size_t at = 0; at < std::min(offset, text.size()); ++at) {
    if (text[at] != '"') continue;
    const std::size_t start = at + 1;
    for (++at; at < text.size() && text[at] != '"'; ++at) {
      if (text[at] == '\\') ++at;
    }
    const std::size_t end = std::min(at, text.size());
    if (text.find_first_not_of(whiteSpace, end + 1) >= offset) return wrongEndOf(text, start, end);
  }
  return std::nullopt;
}

std::optional<JSONCause> commentCause(std::string_view text, std::size_t offset) {
  const std::string_view rest = text.substr(offset);
  std::size_t length = 0;
  if (rest.starts_with("/*")) {
    length = std::min(rest.find("*/"), rest.size() - 2) + 2;
  } else if (rest.starts_with("//") || rest.starts_with('#')) {
    length = std::min(rest.find('\n'), rest.size());
  } else {
    return std::nullopt;
  }
  return JSONCause{offset, "this is a comment, and JSON has none; remove it", JSONCause::Repair{length, ""}};
}

std::optional<JSONCause> singleQuoteCause(std::string_view text, std::size_t offset) {
  if (text[offset] != '\'') return std::nullopt;
  JSONCause cause{offset, "this text is in single quotes; write \" before and after it"};
  std::string replacement = "\"";
  for (std::size_t at = offset + 1; at < text.size(); ++at) {
    if (text[at] == '\'') {
      cause.repair = {at + 1 - offset, replacement + '"'};
      break;
    }
    if (text[at] == '\\' && at + 1 < text.size() && text[at + 1] == '\'') ++at;
    if (text[at] == '"') replacement += '\\';
    replacement += text[at];
    if (text[at] == '\\' && at + 1 < text.size()) replacement += text[++at];
  }
  return cause;
}

std::optional<JSONCause> surplusCommaCause(std::string_view text, std::size_t offset) {
  const auto previous = previousToken(text, offset);
  if (!previous) return std::nullopt;
  const char before = text[*previous];
  const char here = text[offset];
  if ((here == '}' || here == ']') && before == ',') {
    return JSONCause{*previous, "a comma follows the last entry; remove it", JSONCause::Repair{1, ""}};
  }
  if (here == ',' && (before == ',' || before == '{' || before == '[')) {
    return JSONCause{offset, "an entry is missing before this comma; remove the comma", JSONCause::Repair{1, ""}};
  }
  return std::nullopt;
}

std::optional<JSONCause> missingCommaCause(std::string_view text, std::size_t offset) {
  const auto previous = previousToken(text, offset);
  if (!previous) return std::nullopt;
  const char before = text[*previous];
  const char here = text[offset];
  if (before == '"' && (isWordCharacter(here) || here == '\\')) {
    return JSONCause{*previous, R"(the text ends at this quotation mark, and more follows; write \" inside a text)"};
  }
  if (here == '"' || here == '{' || here == '[') {
    return JSONCause{*previous + 1, "a comma is missing here, between two entries", JSONCause::Repair{0, ","}};
  }
  return std::nullopt;
}

std::optional<JSONCause> wordCause(std::string_view text, std::size_t offset) {
  std::size_t start = offset;
  while (start > 0 && isWordCharacter(text[start - 1])) --start;
  const std::string_view rest = text.substr(start);
  const auto end = std::ranges::find_if_not(rest, isWordCharacter);
  const std::string word(rest.begin(), end);
  const auto* const known = std::ranges::find(foreignWords, word, [](const auto& each) { return each.first; });
  if (known != foreignWords.end()) {
    return JSONCause{start, word + " is no value of JSON; write " + std::string(known->second),
                     JSONCause::Repair{word.size(), std::string(known->second)}};
  }
  if (std::ranges::find(noNumbers, word) != noNumbers.end()) {
    return JSONCause{start, word + " is no value of JSON; write a number, or leave the entry out"};
  }
  const auto previous = previousToken(text, start);
  const bool isName = previous && (text[*previous] == '{' || text[*previous] == ',');
  const std::size_t next = text.find_first_not_of(whiteSpace, start + word.size());
  if (word.empty() || !isName || next == std::string_view::npos || text[next] != ':') return std::nullopt;
  return JSONCause{start, "the name " + word + " has no quotation marks; write \"" + word + "\"",
                   JSONCause::Repair{word.size(), "\"" + word + "\""}};
}

/// At a \u that the parser rejects: digits are missing, or the other half of a surrogate pair.
JSONCause unicodeEscapeCause(std::string_view text, std::size_t offset) {
  const std::string_view digits = text.substr(offset + 2, 4);
  const bool isComplete =
      digits.size() == 4 && std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (!isComplete) return JSONCause{offset, R"(\u needs four hexadecimal digits; write them, as in \u00e4)"};
  return JSONCause{offset,
                   "\\u" + std::string(digits) + R"( is half a character; write both halves, as in \ud83d\ude00)"};
}

std::optional<JSONCause> stringCause(std::string_view text, std::size_t offset) {
  if (text[offset] == '\n' || text[offset] == '\r') {
    return JSONCause{offset, R"(the line ends inside a text; close it with ", or write \n for a line break)"};
  }
  if (text[offset] == '\t') {
    return JSONCause{offset, R"(a tab is inside a text; write \t)", JSONCause::Repair{1, R"(\t)"}};
  }
  if (text.substr(offset).starts_with("\\u")) return unicodeEscapeCause(text, offset);
  if (text[offset] == '\\' && offset + 1 < text.size()) {
    return JSONCause{offset, "the text holds the unknown escape \\" + std::string(1, text[offset + 1]) +
                                 R"(; write \\ for a backslash, nothing before a quote other than ")"};
  }
  return std::nullopt;
}

}  // namespace

std::optional<JSONCause> causeOfJSONError(std::string_view text, std::size_t offset, bool wantsComma) {
  if (auto cause = encodingCause(text)) return cause;
  if (text.find_first_not_of(whiteSpace) == std::string_view::npos) return std::nullopt;
  if (auto cause = wrongEndCause(text, offset)) return cause;
  if (offset >= text.size()) {
    return JSONCause{text.size(), "the document ends here; a bracket or a quotation mark before is not closed"};
  }
  const std::string_view rest = text.substr(offset);
  if (rest.starts_with(byteOrderMark)) {
    return JSONCause{offset, "a byte order mark is inside the document; remove it",
                     JSONCause::Repair{byteOrderMark.size(), ""}};
  }
  if (const std::string_view quote = quoteAt(rest); !quote.empty()) {
    return JSONCause{offset, std::string(quote) + " is a typographic quotation mark; write \"",
                     JSONCause::Repair{quote.size(), "\""}};
  }
  if (wantsComma) {
    if (auto cause = missingCommaCause(text, offset)) return cause;
  }
  for (const auto find : {commentCause, singleQuoteCause, surplusCommaCause, wordCause, stringCause}) {
    if (auto cause = find(text, offset)) return cause;
  }
  return std::nullopt;
}

}  // namespace pellion

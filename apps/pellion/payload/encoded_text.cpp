#include "pellion/payload/encoded_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "pellion/text/json_reader.h"
#include "value/printable_text.h"

namespace pellion {
namespace {

using platform::Value;

std::optional<Value> jsonIn(std::string_view text) {
  try {
    return readJSON("", text).value;
  } catch (const InputError&) {
    return std::nullopt;
  }
}

std::optional<std::string> fromJSONText(std::string_view text) {
  auto inner = jsonIn(text);
  if (!inner && text.find("\\\"") != std::string_view::npos) inner = jsonIn('"' + std::string(text) + '"');
  return inner && inner->ifString() ? std::optional(std::string(inner->text())) : std::nullopt;
}

/// Standard and URL alphabet, with or without padding.
std::optional<std::string> fromBase64(std::string_view text) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (char c : text.substr(0, text.find_last_not_of("= \r\n") + 1)) {
    if (c == '\r' || c == '\n') continue;
    if (c == '-') c = '+';
    if (c == '_') c = '/';
    const std::size_t digit = digits.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 6U | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> static_cast<unsigned>(count) & 0xFFU);
  }
  return value::wellFormed(bytes) == bytes && !bytes.empty() ? std::optional(bytes) : std::nullopt;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::optional<std::string> fromPercentEncoding(std::string_view text) {
  if (text.find('%') == std::string_view::npos) return std::nullopt;
  const bool hasPlus = text.find(' ') == std::string_view::npos;  // as forms encode a space
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isEscape =
        text[at] == '%' && at + 2 < text.size() && hexDigit(text[at + 1]) >= 0 && hexDigit(text[at + 2]) >= 0;
    if (isEscape) {
      decoded += static_cast<char>(hexDigit(text[at + 1]) * 16 + hexDigit(text[at + 2]));
      at += 2;
    } else {
      decoded += hasPlus && text[at] == '+' ? ' ' : text[at];
    }
  }
  return decoded;
}

std::optional<std::string> fromHTML(std::string_view text) {
  std::string decoded = withoutCharacterReferences(text);
  return decoded == text ? std::nullopt : std::optional(std::move(decoded));
}

struct Encoding {
  const char* code;
  const char* form;
  std::optional<std::string> (*decode)(std::string_view);
};
constexpr std::array<Encoding, 4> encodings{{{"addinfo-encoded-twice", "the JSON text of another text", fromJSONText},
                                             {"addinfo-html-escaped", "HTML-escaped", fromHTML},
                                             {"addinfo-url-encoded", "URL-encoded", fromPercentEncoding},
                                             {"addinfo-base64", "base64", fromBase64}}};

}  // namespace

std::string withoutCharacterReferences(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, char>, 9> references{{{"&quot;", '"'},
                                                                         {"&#34;", '"'},
                                                                         {"&#x22;", '"'},
                                                                         {"&apos;", '\''},
                                                                         {"&#39;", '\''},
                                                                         {"&#x27;", '\''},
                                                                         {"&lt;", '<'},
                                                                         {"&gt;", '>'},
                                                                         {"&amp;", '&'}}};
  std::string plain;
  while (!text.empty()) {
    const auto* const found =
        std::ranges::find_if(references, [&](const auto& each) { return text.starts_with(each.first); });
    const bool isReference = found != references.end();
    plain += isReference ? found->second : text.front();
    text.remove_prefix(isReference ? found->first.size() : 1);
  }
  return plain;
}

std::optional<EncodedObject> objectEncodedIn(std::string_view text) {
  constexpr int mostLayers = 4;
  std::string inner(text);
  std::string code;
  std::string form;
  for (int layer = 0; layer < mostLayers; ++layer) {
    const Encoding* used = nullptr;
    for (const Encoding& encoding : encodings) {
      auto decoded = encoding.decode(inner);
      if (!decoded) continue;
      used = &encoding;
      inner = std::move(*decoded);
      break;
    }
    if (used == nullptr) return std::nullopt;
    if (code.empty()) code = used->code;
    form += (form.empty() ? "" : ", and that ") + std::string(used->form);
    const auto read = jsonIn(inner);
    if (read && read->ifDictionary() != nullptr) return EncodedObject{code, form, *read};
  }
  return std::nullopt;
}

}  // namespace pellion

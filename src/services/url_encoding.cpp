// Splits the text as in RFC 3986, appendix B, encodes each component by itself, and joins the text again. A component
// cannot gain a delimiter on the way, so the result has the same structure.

#include "services/url_encoding.h"

#include <unicode/uidna.h>

#include <algorithm>

#include "value/utf8.h"

namespace services {
namespace {

// Characters that a component may hold besides letters, digits and escapes.
constexpr std::string_view marks = "-._~!$&'()*+,;=";
constexpr std::string_view inPath = ":@/";
constexpr std::string_view inQueryOrFragment = ":@/?";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (value::lowerASCII(c) >= 'a' && value::lowerASCII(c) <= 'f'); }

bool isAllowed(char c, std::string_view more) {
  return isDigit(c) || (value::lowerASCII(c) >= 'a' && value::lowerASCII(c) <= 'z') ||
         marks.find(c) != std::string_view::npos || more.find(c) != std::string_view::npos;
}

bool isValid(std::string_view component, std::string_view more) {
  for (std::size_t at = 0; at < component.size(); ++at) {
    const bool isEscape = component[at] == '%' && at + 2 < component.size() && isHexDigit(component[at + 1]) &&
                          isHexDigit(component[at + 2]);
    if (!isEscape && !isAllowed(component[at], more)) return false;
  }
  return true;
}

void append(std::string& text, std::string_view component, std::string_view more) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const bool isKept = isValid(component, more);
  for (const char c : component) {
    if (isKept || isAllowed(c, more)) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
  }
}

/// Cuts off and returns the text from `at` on, if there is any.
std::string_view cut(std::string_view& text, std::size_t at) {
  if (at == std::string_view::npos) return {};
  const std::string_view rest = text.substr(at);
  text = text.substr(0, at);
  return rest;
}

/// Returns the host's name in ASCII. Two rules of DNS, which do not apply to URLs, are not checked: the length of a
/// name's labels and the positions of hyphens in them.
std::optional<std::string> asciiName(std::string_view host) {
  constexpr std::uint32_t options = UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII;
  constexpr std::uint32_t allowed = UIDNA_ERROR_EMPTY_LABEL | UIDNA_ERROR_LABEL_TOO_LONG |
                                    UIDNA_ERROR_DOMAIN_NAME_TOO_LONG | UIDNA_ERROR_LEADING_HYPHEN |
                                    UIDNA_ERROR_TRAILING_HYPHEN | UIDNA_ERROR_HYPHEN_3_4;
  constexpr std::size_t longest = 1024;  // far above any name; the encoding time grows with its square
  if (host.size() > longest) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  static const UIDNA* const idna = uidna_openUTS46(options, &status);
  status = U_ZERO_ERROR;
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  char name[8 * longest];
  const std::int32_t size = uidna_nameToASCII_UTF8(idna, host.data(), static_cast<std::int32_t>(host.size()), name,
                                                   static_cast<std::int32_t>(sizeof name), &info, &status);
  if (U_FAILURE(status) || (info.errors & ~allowed) != 0) return std::nullopt;
  std::string result(name, static_cast<std::size_t>(size));
  // Some characters map to delimiters: a full-width "/" or "%" would lead to another host.
  const bool isName = std::ranges::all_of(result, [](char c) { return isAllowed(c, ""); });
  return isName ? std::optional(std::move(result)) : std::nullopt;
}

bool appendAuthority(std::string& text, std::string_view authority) {
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    std::string_view user = authority.substr(0, at);
    const std::string_view password = cut(user, user.find(':'));
    append(text, user, "");
    append(text, password, ":");
    text += '@';
    authority.remove_prefix(at + 1);
  }
  if (authority.starts_with('[')) {
    text += authority;
    return true;
  }
  const std::string_view port = cut(authority, authority.find(':'));
  const std::optional<std::string> host =
      isValid(authority, "") ? std::optional<std::string>(authority) : asciiName(authority);
  if (host) text.append(*host).append(port);
  return host.has_value();
}

bool isUTF8(std::string_view text) {
  constexpr std::string_view replacement = "\uFFFD";
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view rest = text.substr(at);
    if (value::nextCharacter(text, at) == value::replacementCharacter && !rest.starts_with(replacement)) return false;
  }
  return true;
}

}  // namespace

std::optional<std::string> encodedURLText(std::string_view text) {
  if (!isUTF8(text)) return std::nullopt;
  std::string encoded;
  encoded.reserve(text.size());
  const std::string_view fragment = cut(text, text.find('#'));
  const std::string_view query = cut(text, text.find('?'));
  if (const auto colon = text.substr(0, text.find('/')).find(':'); colon != std::string_view::npos) {
    encoded += text.substr(0, colon + 1);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    encoded += "//";
    std::string_view authority = text.substr(2);
    const std::string_view path = cut(authority, authority.find('/'));
    if (!appendAuthority(encoded, authority)) return std::nullopt;
    text = path;
  }
  append(encoded, text, inPath);
  append(encoded, query, inQueryOrFragment);
  if (!fragment.empty()) {
    encoded += '#';
    append(encoded, fragment.substr(1), inQueryOrFragment);
  }
  return encoded;
}

}  // namespace services

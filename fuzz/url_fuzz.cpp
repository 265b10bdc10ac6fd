#include <algorithm>

#include "fuzz/target.h"
#include "host/ascii.h"
#include "host/http_url.h"
#include "host/url_components.h"
#include "host/url_reference.h"
#include "platform/url.h"

// A text as a URL: by RFC 3986 as written down here once more, and by what would connect to it.

namespace fuzz {
namespace {

using platform::URL;

/// A text taken apart as RFC 3986 does in its appendix B. An absent part differs from an empty one.
struct Parts {
  std::optional<std::string_view> scheme, authority, query, fragment;
  std::string_view path;

  explicit Parts(std::string_view text) {
    if (const auto at = text.find_first_of(":/?#"); at != std::string_view::npos && text[at] == ':') {
      scheme = text.substr(0, at);
      text.remove_prefix(at + 1);
    }
    fragment = cutFrom(text, '#');
    query = cutFrom(text, '?');
    if (text.starts_with("//")) {
      const auto end = std::min(text.find('/', 2), text.size());
      authority = text.substr(2, end - 2);
      text.remove_prefix(end);
    }
    path = text;
  }

 private:
  static std::optional<std::string_view> cutFrom(std::string_view& text, char mark) {
    const auto at = text.find(mark);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view rest = text.substr(at + 1);
    text = text.substr(0, at);
    return rest;
  }
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return host::lowerASCII(c) >= 'a' && host::lowerASCII(c) <= 'z'; }
bool isHexDigit(char c) { return isDigit(c) || (host::lowerASCII(c) >= 'a' && host::lowerASCII(c) <= 'f'); }

/// Of unreserved characters, the delimiters within parts, `more` and percent-encoded bytes.
bool isOf(std::string_view text, std::string_view more) {
  constexpr std::string_view marks = "-._~!$&'()*+,;=";
  for (std::size_t at = 0; at != text.size(); ++at) {
    const char c = text[at];
    if (c == '%') {
      if (at + 2 >= text.size() || !isHexDigit(text[at + 1]) || !isHexDigit(text[at + 2])) return false;
      at += 2;
    } else if (!isLetter(c) && !isDigit(c) && marks.find(c) == std::string_view::npos &&
               more.find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

/// A host in brackets is left to the parser under test.
bool isAuthority(std::string_view text) {
  if (const auto at = text.find('@'); at != std::string_view::npos) {
    if (!isOf(text.substr(0, at), ":")) return false;
    text.remove_prefix(at + 1);
  }
  const auto colon = text.find(':');
  return isOf(text.substr(0, colon), "") &&
         (colon == std::string_view::npos || std::ranges::all_of(text.substr(colon + 1), isDigit));
}

bool isURL(std::string_view text, const Parts& parts) {
  const auto isSchemeCharacter = [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; };
  return !text.empty() &&
         (!parts.scheme || (!parts.scheme->empty() && isLetter(parts.scheme->front()) &&
                            std::ranges::all_of(*parts.scheme, isSchemeCharacter))) &&
         (!parts.authority || isAuthority(*parts.authority)) && isOf(parts.path, ":@/") &&
         isOf(parts.query.value_or(""), ":@/?") && isOf(parts.fragment.value_or(""), ":@/?");
}

std::string hostOf(std::string_view authority) {
  if (const auto at = authority.find('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  return host::asciiLowercase(authority.substr(0, authority.find(':')));
}

void requireComponents(std::string_view text, const Parts& parts) {
  const std::optional<host::URLComponents> components = host::parseURLComponents(text);
  if (!components) return;  // its port is too large
  require(components->scheme.has_value() == parts.scheme.has_value() &&
              (!parts.scheme || components->scheme == host::asciiLowercase(*parts.scheme)),
          "the scheme is what stands before the first colon", text);
  require(components->host.has_value() == parts.authority.has_value() &&
              (!parts.authority || components->host == hostOf(*parts.authority)),
          "the host is what the authority names", text);
}

/// What is checked is what is connected to.
void requireNoOtherHost(const URL& url) {
  const auto admitted = host::admissibleURL(url, {});
  if (const auto* error = std::get_if<platform::Error>(&admitted)) {
    return require(error->code < 0 && !error->localizedDescription.empty(), "an error has a text",
                   url.absoluteString());
  }
  const auto& connected = std::get<host::HTTPURL>(admitted);
  require(connected.isEncrypted() || connected.isLoopback(), "clear text goes nowhere but home", url.absoluteString());
  const std::string named = host::parseURLComponents(url.absoluteString())->host.value_or("");
  // Not a number, which has many forms, nor percent-encoded.
  const std::string_view last = std::string_view(named).substr(named.rfind('.') + 1);
  const bool isPlainName = !last.empty() && isLetter(last.front()) && named.find_first_of("%:") == std::string::npos;
  require(!isPlainName || connected.host() == named, "the host connected to is the one named", url.absoluteString(),
          connected.host());
}

/// A redirect leads to the host that its reference names, and without one to its own.
void requireRedirectTarget(std::string_view reference, const Parts& parts) {
  static const URL base = *URL::URLWithString("http://127.0.0.1:80/a/b?c#d");
  const std::optional<URL> target = host::resolveReference(base, reference);
  require(target.has_value() || !isURL(reference, parts), "a reference within the grammar has a target", reference);
  if (!target) return;
  requireNoOtherHost(*target);
  if (!isURL(reference, parts)) return;  // some of it has been percent-encoded
  const Parts resolved(target->absoluteString());
  require(resolved.authority == (parts.scheme || parts.authority ? parts.authority : "127.0.0.1:80"),
          "a redirect leads where its reference says", reference, target->absoluteString());
}

}  // namespace

void run(std::string_view input) {
  const std::optional<URL> url = URL::URLWithString(input);
  const Parts parts(input);
  if (parts.authority && parts.authority->find('[') != std::string_view::npos) {
    if (url) requireNoOtherHost(*url);
    return;
  }
  require(url.has_value() == isURL(input, parts), "a URL is what RFC 3986 says", input);
  requireRedirectTarget(input, parts);
  if (!url) return;
  require(url->absoluteString() == input, "a URL is kept as the text that it was made from", input);
  requireComponents(input, parts);
  requireNoOtherHost(*url);
}

}  // namespace fuzz

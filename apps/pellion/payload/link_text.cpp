#include "pellion/payload/link_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <utility>

#include "pellion/payload/encoded_text.h"
#include "pellion/payload/problem.h"
#include "pellion/text/similar_name.h"
#include "pellion/text/text_width.h"
#include "services/url_components.h"
#include "services/url_encoding.h"
#include "value/ascii.h"

namespace pellion {
namespace {

constexpr std::string_view https = "https://";

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

/// The end of scheme and authority.
std::size_t endOfAuthority(std::string_view link) {
  const std::size_t scheme = std::min(link.find(':') + 1, link.size());  // 0 without one
  if (!link.substr(scheme).starts_with("//")) return scheme;
  return std::min(link.find_first_of("/?#", scheme + 2), link.size());
}

std::optional<std::size_t> wrongFrom(std::string_view link, std::size_t at) {
  constexpr std::string_view marks = "-._~!$&'()*+,;=:@/?";
  bool isInFragment = link.substr(0, at).find('#') != std::string_view::npos;
  for (; at < link.size(); ++at) {
    const char c = link[at];
    if (c == '#' && !isInFragment) {
      isInFragment = true;
      continue;
    }
    const bool isEscape = c == '%' && at + 2 < link.size() && isHex(link[at + 1]) && isHex(link[at + 2]);
    const bool isPlain = static_cast<unsigned char>(c) < 0x80 && std::isalnum(static_cast<unsigned char>(c)) != 0;
    if (!isEscape && !isPlain && marks.find(c) == std::string_view::npos) return at;
  }
  return std::nullopt;
}

std::string nameOfCharacter(std::string_view link, std::size_t offset) {
  if (link[offset] == ' ') return "a space";
  std::size_t end = offset;
  value::nextCharacter(link, end);
  return inQuotes(link.substr(offset, end - offset));
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view space = " \t\r\n";
  const std::size_t start = text.find_first_not_of(space);
  return start == std::string_view::npos ? "" : text.substr(start, text.find_last_not_of(space) - start + 1);
}

/// "shop.example/sale"
bool beginsWithHost(std::string_view link) {
  const std::string_view host = link.substr(0, link.find_first_of("/?#"));
  const std::size_t dot = host.rfind('.');
  if (host.starts_with("www.") && host.size() > 4 && !wrongFrom(host, 0)) return true;
  return dot != std::string_view::npos && dot > 0 && host.size() - dot > 2 && !wrongFrom(host, 0) &&
         std::ranges::all_of(host.substr(dot + 1), [](unsigned char c) { return std::isalpha(c) != 0; });
}

LinkFault templateFault(std::string_view link, std::string_view placeholder) {
  return {"link-template",
          "the URL holds " + inQuotes(placeholder) + ", which looks like a placeholder that nothing has replaced",
          static_cast<std::size_t>(placeholder.data() - link.data())};
}

/// A port that is none: other characters than digits, or a number that is too large. `after` begins with the host.
std::optional<LinkFault> portFault(std::string_view link, std::string_view after) {
  constexpr unsigned largest = 65535;
  std::string_view authority = after.substr(0, after.find_first_of("/?#"));
  authority.remove_prefix(authority.rfind('@') + 1);  // 0 without one
  const std::size_t bracket = authority.rfind(']');
  const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view port = authority.substr(colon + 1);
  const auto offset = static_cast<std::size_t>(port.data() - link.data());
  const std::size_t wrong = port.find_first_not_of("0123456789");
  if (wrong != std::string_view::npos) {
    return LinkFault{"link-port",
                     nameOfCharacter(link, offset + wrong) + " at character " +
                         std::to_string(columns(link.substr(0, offset + wrong)) + 1) +
                         " of the URL stands in its port, which has digits alone",
                     offset + wrong};
  }
  unsigned number = 0;
  const auto result = std::from_chars(port.data(), port.data() + port.size(), number);
  if (port.empty() || (result.ec == std::errc() && number <= largest)) return std::nullopt;
  return LinkFault{"link-port", "the port " + std::string(port) + " of the URL is above 65535", offset};
}

/// The rest of a link after the colon of http or https, which is to begin with two slashes and a host.
std::optional<LinkFault> hostFault(std::string_view link, std::string_view scheme, std::string_view rest) {
  const std::size_t count = std::min(rest.find_first_not_of("/\\"), rest.size());
  const std::string_view after = rest.substr(count);
  const auto offset = static_cast<std::size_t>(rest.data() - link.data());
  const auto corrected = [&] { return std::string(scheme) + "://" + std::string(after); };
  if (rest.substr(0, count).find('\\') != std::string_view::npos) {
    return LinkFault{"link-not-encoded", "a backslash stands where a URL has a slash", offset, corrected()};
  }
  if (count < 2) {
    return LinkFault{"link-scheme-misspelt", "a slash is missing after " + inQuotes(std::string(scheme) + ":"), offset,
                     after.empty() ? std::nullopt : std::optional(corrected())};
  }
  std::string_view host = after.substr(0, after.find_first_of("/?#"));
  host.remove_prefix(host.rfind('@') + 1);  // 0 without one
  if (count > 2 || host.empty() || host.front() == ':') {
    return LinkFault{"link-without-host", "the URL has no host after " + inQuotes(std::string(scheme) + "://"),
                     offset + 2, beginsWithHost(after) ? std::optional(corrected()) : std::nullopt};
  }
  return portFault(link, after);
}

std::optional<LinkFault> schemeFault(std::string_view link, const std::function<bool(const std::string&)>& isKnown) {
  const auto end = static_cast<std::size_t>(
      std::ranges::find_if_not(link, [](unsigned char c) { return std::isalnum(c) != 0; }) - link.begin());
  const std::string word = value::asciiLowercase(link.substr(0, end));
  const std::string_view rest = link.substr(end);
  const bool isWeb = word == "http" || word == "https";
  const std::size_t toHTTPS = editDistance(word, "https");
  const std::size_t toHTTP = editDistance(word, "http");
  const std::string meant = toHTTPS <= toHTTP ? "https" : "http";
  if (!isWeb && rest.starts_with(":/") && word.size() > 2 && std::min(toHTTPS, toHTTP) <= 2 && !isKnown(word)) {
    std::string_view host = rest.substr(1);
    host.remove_prefix(std::min(host.find_first_not_of('/'), host.size()));
    return LinkFault{"link-scheme-misspelt", "the scheme " + inQuotes(word) + " looks like " + inQuotes(meant), 0,
                     meant + "://" + std::string(host)};
  }
  if (isWeb && (rest.starts_with("//") || rest.starts_with(";//") || rest.starts_with(" ://"))) {
    const std::size_t slashes = rest.find("//");
    return LinkFault{"link-scheme-misspelt", "a colon is missing after " + inQuotes(word), end,
                     word + ":" + std::string(rest.substr(slashes))};
  }
  return isWeb && rest.starts_with(':') ? hostFault(link, word, rest.substr(1)) : std::nullopt;
}

}  // namespace

std::optional<std::size_t> wrongCharacter(std::string_view link) {
  const std::size_t end = endOfAuthority(link);
  std::string authority(link.substr(0, end));
  const bool hasBrackets = authority.find('[') != std::string::npos && services::parseURLComponents(authority);
  if (const auto wrong = hasBrackets ? std::nullopt : wrongFrom(authority, 0)) return wrong;
  return wrongFrom(link, end);
}

namespace {

/// The link from `start` on, with each wrong character encoded.
std::string percentEncoded(std::string_view link, std::size_t start) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (std::size_t at = start; at < link.size();) {
    const std::size_t wrong = wrongFrom(link, at).value_or(link.size());
    encoded += link.substr(at, wrong - at);
    if (wrong < link.size()) {
      const auto byte = static_cast<unsigned char>(link[wrong]);
      encoded += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
    at = wrong + 1;
  }
  return encoded;
}

}  // namespace

std::optional<std::string> encodedLink(std::string_view link) {
  const std::size_t end = endOfAuthority(link);
  std::string encoded(link.substr(0, end));
  if (!encoded.empty() && !services::urlScheme(encoded)) {
    const auto host = services::encodedURLText(encoded);
    const bool isWeb = value::asciiLowercase(encoded).starts_with("http");
    if (!host && isWeb) return std::nullopt;  // no host of that name can exist
    encoded = host ? *host : percentEncoded(encoded, 0);
  }
  encoded += percentEncoded(link, end);
  return services::urlScheme(encoded) ? std::optional(encoded) : std::nullopt;
}

std::optional<LinkFault> linkFault(std::string_view link, const std::function<bool(const std::string&)>& isKnown) {
  if (const auto placeholder = unresolvedTemplate(link)) return templateFault(link, *placeholder);
  const std::size_t brace = link.find('{');
  if (const std::size_t end = link.find('}', brace); brace != std::string_view::npos && end != std::string_view::npos) {
    return templateFault(link, link.substr(brace, end + 1 - brace));
  }
  if (const std::string_view core = trimmed(link); core.size() != link.size()) {
    const bool isInFront = !core.empty() && core.data() != link.data();
    return LinkFault{"link-not-encoded",
                     isInFront ? "white space stands before the URL" : "white space stands after the URL",
                     isInFront ? 0 : core.size(), core.empty() ? std::nullopt : encodedLink(core)};
  }
  if (auto fault = schemeFault(link, isKnown)) {
    if (fault->corrected) fault->corrected = encodedLink(*fault->corrected);
    return fault;
  }
  if (const std::size_t escaped = link.find("&amp;"); escaped != std::string_view::npos) {
    return LinkFault{"link-html-escaped", "\"&amp;\" stands where a URL has \"&\"", escaped,
                     encodedLink(withoutCharacterReferences(link))};
  }
  if (const auto wrong = wrongCharacter(link)) {
    return LinkFault{"link-not-encoded",
                     nameOfCharacter(link, *wrong) + " at character " +
                         std::to_string(columns(link.substr(0, *wrong)) + 1) + " of the URL is outside RFC 3986",
                     *wrong, encodedLink(link)};
  }
  if (!link.empty() && services::parseURLComponents(link) && !services::urlScheme(link)) {
    std::string_view host = link;
    host.remove_prefix(std::min(host.find_first_not_of('/'), host.size()));
    const bool isLikely = beginsWithHost(host) && host.data() - link.data() != 1;
    return LinkFault{"link-without-scheme", "the URL has no scheme, so nothing opens it", 0,
                     isLikely ? std::optional(std::string(https) + std::string(host)) : std::nullopt};
  }
  return std::nullopt;
}

std::optional<std::string_view> unresolvedTemplate(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> forms{
      {{"{{", "}}"}, {"${", "}"}, {"<%", "%>"}, {"{%", "%}"}, {"*|", "|*"}, {"%7B%7B", "%7D%7D"}}};
  for (const auto& [opening, closing] : forms) {
    const std::size_t start = text.find(opening);
    if (start == std::string_view::npos) continue;
    const std::size_t end = text.find(closing, start + opening.size());
    if (end != std::string_view::npos) return text.substr(start, end + closing.size() - start);
  }
  return std::nullopt;
}

}  // namespace pellion

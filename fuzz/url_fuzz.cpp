#include <algorithm>

#include "fuzz/target.h"
#include "host/phone/process.h"
#include "platform/url.h"
#include "services/http/http_url.h"
#include "services/url_components.h"
#include "services/url_loading/network.h"
#include "services/url_reference.h"
#include "value/ascii.h"

// Reads a text as a URL, for applications linked before release 17 and since. Compares with RFC 3986 as written here
// again, and with the code that connects. Leaves out what only ICU and the parser under test know: which non-ASCII
// texts can be encoded, which name IDNA makes of a host, and which hosts in brackets exist.

namespace fuzz {
namespace {

using platform::URL;

/// A text split as in appendix B of RFC 3986. An absent part differs from an empty one.
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
bool isLetter(char c) { return value::lowerASCII(c) >= 'a' && value::lowerASCII(c) <= 'z'; }
bool isHexDigit(char c) { return isDigit(c) || (value::lowerASCII(c) >= 'a' && value::lowerASCII(c) <= 'f'); }

/// Whether the text has only unreserved characters, delimiters within parts, `more` and percent-encoded bytes.
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

constexpr std::string_view inUser = "";
constexpr std::string_view inPassword = ":";
constexpr std::string_view inPath = ":@/";
constexpr std::string_view inQuery = ":@/?";

/// The text between "//" and the path. The host begins after the last "@", because no host contains one.
struct Authority {
  std::optional<std::string_view> user, password, port;
  std::string_view host;

  explicit Authority(std::string_view text) {
    if (const auto at = text.rfind('@'); at != std::string_view::npos) {
      user = text.substr(0, at);
      if (const auto colon = user->find(':'); colon != std::string_view::npos) {
        password = user->substr(colon + 1);
        user = user->substr(0, colon);
      }
      text.remove_prefix(at + 1);
    }
    host = text.substr(0, text.find(':'));
    if (host.size() != text.size()) port = text.substr(host.size() + 1);
  }

  [[nodiscard]] bool isInBrackets() const { return host.starts_with('['); }
  /// Whether it needs no encoding.
  [[nodiscard]] bool canStay() const { return isOf(host, "") && std::ranges::all_of(port.value_or(""), isDigit); }
};

bool isScheme(std::string_view text) {
  const auto isSchemeCharacter = [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; };
  return !text.empty() && isLetter(text.front()) && std::ranges::all_of(text, isSchemeCharacter);
}

/// Whether percent-encoding, if needed, makes a URL of the text.
bool isEncodable(std::string_view text, const Parts& parts) {
  return !text.empty() && (!parts.scheme || isScheme(*parts.scheme)) &&
         (!parts.authority || Authority(*parts.authority).canStay());
}

bool isURL(std::string_view text, const Parts& parts) {
  const Authority authority(parts.authority.value_or(""));
  return isEncodable(text, parts) && isOf(authority.user.value_or(""), inUser) &&
         isOf(authority.password.value_or(""), inPassword) && isOf(parts.path, inPath) &&
         isOf(parts.query.value_or(""), inQuery) && isOf(parts.fragment.value_or(""), inQuery);
}

std::string decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%') {
      bytes += static_cast<char>(std::stoi(std::string(text.substr(at + 1, 2)), nullptr, 16));
      at += 2;
    } else {
      bytes += text[at];
    }
  }
  return bytes;
}

using Component = std::optional<std::string_view>;

void requireComponent(Component text, Component made, std::string_view more) {
  require(text.has_value() == made.has_value(), "no component is added or removed", text.value_or(""),
          made.value_or(""));
  if (!text) return;
  require(made == text || !isOf(*text, more), "a component within the grammar does not change", *text, *made);
  require(isOf(*made, more), "an encoded component is within the grammar", *text, *made);
  require(made == text || decoded(*made) == *text, "an encoded component decodes to the text", *text, *made);
}

void requireEncoded(const Parts& parts, const Parts& made) {
  require(parts.scheme == made.scheme, "a scheme does not change", parts.scheme.value_or(""), made.scheme.value_or(""));
  require(parts.authority.has_value() == made.authority.has_value(), "no authority is added or removed");
  const Authority before(parts.authority.value_or(""));
  const Authority after(made.authority.value_or(""));
  requireComponent(before.user, after.user, inUser);
  requireComponent(before.password, after.password, inPassword);
  requireComponent(parts.path, made.path, inPath);
  requireComponent(parts.query, made.query, inQuery);
  requireComponent(parts.fragment, made.fragment, inQuery);
  require(before.port == after.port, "a port does not change", before.port.value_or(""), after.port.value_or(""));
  require(before.host == after.host || (!isOf(before.host, "") && !before.isInBrackets() && isOf(after.host, "") &&
                                        after.host.find('%') == std::string_view::npos),
          "only a host that is not ASCII changes, to a name in ASCII", before.host, after.host);
}

void requireComponents(std::string_view text, const Parts& parts) {
  const std::optional<services::URLComponents> components = services::parseURLComponents(text);
  if (!components) return;  // its port is too large
  require(components->scheme.has_value() == parts.scheme.has_value() &&
              (!parts.scheme || components->scheme == value::asciiLowercase(*parts.scheme)),
          "the scheme is the text before the first colon", text);
  require(components->host.has_value() == parts.authority.has_value() &&
              (!parts.authority || components->host == value::asciiLowercase(Authority(*parts.authority).host)),
          "the host is the one in the authority", text);
}

/// Checks that the client connects to the host that was checked.
void requireNoOtherHost(const URL& url) {
  const auto admitted = services::admissibleURL(url, {});
  if (const auto* error = std::get_if<platform::Error>(&admitted)) {
    return require(error->code < 0 && !error->localizedDescription.empty(), "an error has a description",
                   url.absoluteString());
  }
  const auto& connected = std::get<services::HTTPURL>(admitted);
  require(connected.isEncrypted() || connected.isLoopback(), "clear text is sent only to loopback",
          url.absoluteString());
  const std::string named = services::parseURLComponents(url.absoluteString())->host.value_or("");
  // Neither a number, which has many forms, nor percent-encoded.
  const std::string_view last = std::string_view(named).substr(named.rfind('.') + 1);
  const bool isPlainName = !last.empty() && isLetter(last.front()) && named.find_first_of("%:") == std::string::npos;
  require(!isPlainName || connected.host() == named, "the connection is to the host of the URL", url.absoluteString(),
          connected.host());
}

/// A redirect leads to the host that its reference names, otherwise to the host that it came from.
void requireRedirectTarget(std::string_view reference, const Parts& parts) {
  static const URL base = *URL::URLWithString("http://127.0.0.1:80/a/b?c#d");
  const std::optional<URL> target = services::resolveReference(base, reference);
  require(target.has_value() || !isURL(reference, parts), "a reference within the grammar has a target", reference);
  if (!target) return;
  requireNoOtherHost(*target);
  if (!isURL(reference, parts)) return;  // parts of it have been percent-encoded
  const Parts resolved(target->absoluteString());
  require(resolved.authority == (parts.scheme || parts.authority ? parts.authority : "127.0.0.1:80"),
          "a redirect has the target of its reference", reference, target->absoluteString());
}

/// The process belongs to the thread, so that it is destroyed before the thread's data for processes.
std::optional<URL> olderURL(std::string_view text) {
  thread_local host::Clock clock{host::Clock::Kind::virtualTime};
  thread_local services::Network network;
  thread_local host::Process older({.clock = clock, .network = network, .linkedBefore17 = true});
  const host::ProcessScope scope(older);
  return URL::URLWithString(text);
}

bool isASCII(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

void run(std::string_view input) {
  const std::optional<URL> url = URL::URLWithString(input);
  const std::optional<URL> older = olderURL(input);
  const Parts parts(input);
  require(!older || older->absoluteString() == input, "an older application's URL is the text", input);
  require(!older || (url && url->absoluteString() == input), "a URL that RFC 3986 allows does not change", input);
  if (!Authority(parts.authority.value_or("")).isInBrackets()) {
    require(older.has_value() == isURL(input, parts), "an older application gets only URLs that RFC 3986 allows",
            input);
    require(!isASCII(input) || url.has_value() == isEncodable(input, parts),
            "every text that can be encoded gives a URL", input);
    requireRedirectTarget(input, parts);
  }
  if (!url) return;
  const Parts made(url->absoluteString());
  requireEncoded(parts, made);
  requireNoOtherHost(*url);
  if (!Authority(made.authority.value_or("")).isInBrackets()) requireComponents(url->absoluteString(), made);
}

}  // namespace fuzz

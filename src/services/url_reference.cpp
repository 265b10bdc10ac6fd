#include "services/url_reference.h"

#include <cstddef>
#include <string>
#include <utility>

namespace services {
namespace {

/// A reference split as in RFC 3986, appendix B. Each part includes its delimiter, as the query its "?". A present part
/// without other characters is therefore not empty; an absent part is.
struct Parts {
  std::string_view scheme, authority, path, query, fragment;

  explicit Parts(std::string_view text) {
    const auto cut = [&text](std::size_t end) {
      const std::string_view part = text.substr(0, end);
      text.remove_prefix(part.size());
      return part;
    };
    const std::size_t end = text.find_first_of(":/?#");
    if (end != std::string_view::npos && text[end] == ':') scheme = cut(end + 1);
    if (text.starts_with("//")) authority = cut(text.find_first_of("/?#", 2));
    path = cut(text.find_first_of("?#"));
    query = cut(text.find('#'));
    fragment = text;
  }
};

/// Also encodes brackets after the authority, the only part that may hold them.
std::string encoded(std::string_view reference) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const Parts parts(reference);
  std::string_view excluded = "\"<>\\^`{|}";
  std::string result;
  for (std::size_t at = 0; at < reference.size(); ++at) {
    if (at == parts.scheme.size() + parts.authority.size()) excluded = "\"<>\\^`{|}[]";
    const auto byte = static_cast<unsigned char>(reference[at]);
    if (byte <= 0x20 || byte >= 0x7F || excluded.find(reference[at]) != std::string_view::npos) {
      result.append({'%', digits[byte / 16], digits[byte % 16]});
    } else {
      result += reference[at];
    }
  }
  return result;
}

/// Removes dot segments: RFC 3986, 5.2.4, for a path that is empty or begins with a slash.
std::string withoutDotSegments(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const std::string_view segment = path.substr(0, path.find('/', 1));  // includes the slash before it
    path.remove_prefix(segment.size());
    const bool isParent = segment == "/..";
    if (!isParent && segment != "/.") {
      result += segment;
      continue;
    }
    if (isParent && !result.empty()) result.resize(result.rfind('/'));
    if (path.empty()) result += '/';
  }
  return result;
}

/// Resolves a reference: RFC 3986, 5.2.2 and 5.3.
std::string resolved(const Parts& base, Parts target) {
  const bool isAbsolute = !target.scheme.empty();
  const bool staysAtHost = !isAbsolute && target.authority.empty();
  const bool keepsPath = staysAtHost && target.path.empty();
  if (!isAbsolute) target.scheme = base.scheme;
  if (staysAtHost) target.authority = base.authority;
  if (keepsPath && target.query.empty()) target.query = base.query;

  std::string path(keepsPath ? base.path : target.path);
  if (staysAtHost && !path.starts_with('/') && !keepsPath) {
    path.insert(0, base.path.empty() ? "/" : base.path.substr(0, base.path.rfind('/') + 1));
  }
  // Without an authority the path stays as it is: "http:/.//name" must not become "http://name".
  if (!keepsPath && !target.authority.empty()) path = withoutDotSegments(path);
  return std::string(target.scheme).append(target.authority).append(path).append(target.query).append(target.fragment);
}

}  // namespace

std::optional<platform::URL> resolveReference(const platform::URL& base, std::string_view reference) {
  const std::string text = resolved(Parts(base.absoluteString()), Parts(encoded(reference)));
  std::optional<platform::URL> url = platform::URL::URLWithString(text);
  // Unlike an application's text, a server's text is not encoded further.
  return url && url->absoluteString() == text ? std::move(url) : std::nullopt;
}

}  // namespace services

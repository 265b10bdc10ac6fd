#include "platform/url.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <charconv>

#include "host/url_components.h"
#include "host/utf8.h"

namespace {

/// uriparser's view of a text, which must outlive it.
class ParsedURI {
 public:
  explicit ParsedURI(std::string_view text)
      : isValid_(uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS) {}
  ParsedURI(const ParsedURI&) = delete;
  ParsedURI& operator=(const ParsedURI&) = delete;
  ~ParsedURI() {
    if (isValid_) uriFreeUriMembersA(&uri_);
  }
  explicit operator bool() const { return isValid_; }
  const UriUriA* operator->() const { return &uri_; }

 private:
  UriUriA uri_{};
  bool isValid_;
};

std::optional<std::string> textOf(const UriTextRangeA& range) {
  if (range.first == nullptr) return std::nullopt;
  return std::string(range.first, range.afterLast);
}

std::optional<std::string> lowered(std::optional<std::string> text) {
  if (text) std::ranges::transform(*text, text->begin(), host::lowerASCII);
  return text;
}

/// The path of a valid text: what stands between the authority, or else the scheme, and the query or fragment.
std::string pathOf(std::string_view text, const ParsedURI& uri) {
  if (uri->scheme.first != nullptr) text.remove_prefix(text.find(':') + 1);
  if (uri->hostText.first != nullptr) text.remove_prefix(std::min(text.find_first_of("/?#", 2), text.size()));
  return std::string(text.substr(0, text.find_first_of("?#")));
}

}  // namespace

namespace platform {

std::optional<URL> URL::URLWithString(std::string_view text) {
  // The grammar knows the empty relative reference, the platform does not.
  if (text.empty() || !ParsedURI(text)) return std::nullopt;
  return URL(text);
}

}  // namespace platform

namespace host {

std::string URLComponents::target() const {
  return (path.empty() ? "/" : path) + (query ? "?" + *query : std::string());
}

std::optional<URLComponents> parseURLComponents(std::string_view text) {
  const ParsedURI uri(text);
  if (!uri) return std::nullopt;
  URLComponents components{lowered(textOf(uri->scheme)), lowered(textOf(uri->hostText)), std::nullopt,
                           pathOf(text, uri), textOf(uri->query)};
  if (uri->portText.first != uri->portText.afterLast) {
    std::uint16_t port = 0;
    const auto result = std::from_chars(uri->portText.first, uri->portText.afterLast, port);
    if (result.ec != std::errc()) return std::nullopt;
    components.port = port;
  }
  return components;
}

}  // namespace host

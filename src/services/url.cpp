#include "platform/url.h"

#include <uriparser/Uri.h>

#include <charconv>

#include "services/url_components.h"
#include "services/url_encoding.h"
#include "services/url_release.h"
#include "value/ascii.h"

namespace {

/// uriparser's view of a text. The text must outlive it.
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

std::optional<std::string> lowercaseOf(const UriTextRangeA& range) {
  if (range.first == nullptr) return std::nullopt;
  return value::asciiLowercase({range.first, range.afterLast});
}

}  // namespace

namespace platform {

std::optional<URL> URL::URLWithString(std::string_view text) {
  if (text.empty()) return std::nullopt;  // the grammar allows the empty relative reference, the platform does not
  if (ParsedURI(text)) return URL(text);
  if (!services::isLinkedBefore17()) {
    const std::optional<std::string> encoded = services::encodedURLText(text);
    if (encoded && ParsedURI(*encoded)) return URL(*encoded);
  }
  services::noteTextWithoutURL(text);
  return std::nullopt;
}

}  // namespace platform

namespace services {

std::optional<URLComponents> parseURLComponents(std::string_view text) {
  const ParsedURI uri(text);
  if (!uri) return std::nullopt;
  URLComponents components{lowercaseOf(uri->scheme), lowercaseOf(uri->hostText), std::nullopt};
  if (uri->portText.first != uri->portText.afterLast) {
    std::uint16_t port = 0;
    const auto result = std::from_chars(uri->portText.first, uri->portText.afterLast, port);
    if (result.ec != std::errc()) return std::nullopt;
    components.port = port;
  }
  return components;
}

std::optional<std::string> urlScheme(std::string_view text) {
  const ParsedURI uri(text);
  return uri ? lowercaseOf(uri->scheme) : std::nullopt;
}

}  // namespace services

#include "services/http/http_url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

#include "services/http/url_loading_errors.h"
#include "services/url_components.h"
#include "value/ascii.h"

namespace services {
namespace {

std::string partOf(CURLU* handle, CURLUPart part, unsigned int flags = 0) {
  char* text = nullptr;
  if (curl_url_get(handle, part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, void (*)(void*)> owner(text, curl_free);
  return text;
}

}  // namespace

HTTPURL::HTTPURL(Handle handle)
    : handle_(std::move(handle)),
      scheme_(partOf(handle_.get(), CURLUPART_SCHEME)),
      host_(value::asciiLowercase(partOf(handle_.get(), CURLUPART_HOST))),
      port_(partOf(handle_.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT)) {
  if (host_.starts_with('[') && host_.ends_with(']')) host_ = host_.substr(1, host_.size() - 2);
}

std::optional<HTTPURL> HTTPURL::parse(const platform::URL& url) {
  Handle handle(curl_url());
  const char* const text = url.absoluteString().c_str();
  if (curl_url_set(handle.get(), CURLUPART_URL, text, CURLU_PATH_AS_IS) != CURLUE_OK) return std::nullopt;
  curl_url_set(handle.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(handle.get(), CURLUPART_PASSWORD, nullptr, 0);
  return HTTPURL(std::move(handle));
}

std::string HTTPURL::hostField() const {
  const std::string port = partOf(handle(), CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  return partOf(handle(), CURLUPART_HOST) + (port.empty() ? "" : ":" + port);
}

bool HTTPURL::isLoopback() const {
  in_addr v4{};
  if (inet_pton(AF_INET, host_.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  in6_addr v6{};
  if (inet_pton(AF_INET6, host_.c_str(), &v6) == 1) return IN6_IS_ADDR_LOOPBACK(&v6);
  return host_ == "localhost";
}

bool HTTPURL::hasSameOrigin(const HTTPURL& other) const {
  return scheme_ == other.scheme_ && host_ == other.host_ && port_ == other.port_;
}

namespace {

/// Whether the URL has an http scheme and then begins with a host or a user's name, as nearly all do. libcurl's parser
/// then finds what RFC 3986 finds, or fails.
bool hasPlainAuthority(std::string_view text) {
  for (const std::string_view start : {"https://", "http://"}) {
    if (!value::equalsInAnyCase(text.substr(0, start.size()), start)) continue;
    const std::string_view rest = text.substr(start.size());
    const char first = rest.empty() ? '/' : value::lowerASCII(rest.front());
    return (first >= 'a' && first <= 'z') || (first >= '0' && first <= '9');
  }
  return false;
}

/// Why a URL cannot be loaded, before its host is looked at.
std::optional<URLErrorCode> faultOf(const std::string& text) {
  const std::string scheme = value::asciiLowercase(text.substr(0, text.find(':')));
  if (scheme != "http" && scheme != "https") return URLErrorCode::unsupportedURL;
  const std::optional<URLComponents> components = parseURLComponents(text);
  if (!components) return URLErrorCode::badURL;  // its port is too large
  // libcurl would take a missing host from the path.
  if (components->host.value_or("").empty()) return URLErrorCode::unsupportedURL;
  return std::nullopt;
}

}  // namespace

std::variant<HTTPURL, platform::Error> admissibleURL(const std::optional<platform::URL>& url,
                                                     const NetworkPolicy& policy) {
  if (!url) return urlError(URLErrorCode::unsupportedURL, url);
  std::optional<HTTPURL> parsed;
  if (hasPlainAuthority(url->absoluteString())) parsed = HTTPURL::parse(*url);
  if (!parsed) {
    if (std::optional<URLErrorCode> fault = faultOf(url->absoluteString())) return urlError(*fault, url);
    parsed = HTTPURL::parse(*url);
  }
  if (!parsed) return urlError(URLErrorCode::cannotFindHost, url);  // the grammar allows this host, name servers do not
  const auto isNamed = [&](const std::string& allowed) { return value::asciiLowercase(allowed) == parsed->host(); };
  if (!parsed->isEncrypted() && !parsed->isLoopback() && std::ranges::none_of(policy.clearTextHosts, isNamed)) {
    return urlError(URLErrorCode::appTransportSecurityRequiresSecureConnection, url);
  }
  return std::move(*parsed);
}

}  // namespace services

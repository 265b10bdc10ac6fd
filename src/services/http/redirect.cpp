#include "services/http/redirect.h"

#include <algorithm>
#include <array>
#include <string>

#include "services/http/http_url.h"
#include "services/http/url_loading_errors.h"
#include "services/url_reference.h"
#include "value/ascii.h"

namespace services {
namespace {

constexpr int maximumRedirects = 20;

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool becomesGet(const std::string& method, int status) {
  if (status == 303) return method != "GET" && method != "HEAD";
  return method == "POST" && (status == 301 || status == 302);
}

/// Header fields that are meant for one server only.
bool isForOriginAlone(const std::string& lowerName) {
  constexpr std::array names{"authorization", "cookie", "host", "proxy-authorization"};
  return std::ranges::find(names, lowerName) != names.end();
}

platform::URLRequest redirected(const platform::URLRequest& request, const platform::URL& url, int status,
                                bool staysAtOrigin) {
  platform::URLRequest next;
  next.url = url;
  next.httpShouldHandleCookies = request.httpShouldHandleCookies;
  const bool dropsBody = becomesGet(request.httpMethod, status);
  if (!dropsBody) {
    next.httpMethod = request.httpMethod;
    next.httpBody = request.httpBody;
  }
  for (const auto& [name, value] : request.headers.fields()) {
    const std::string lowerName = value::asciiLowercase(name);
    const bool describesBody = lowerName.starts_with("content-");
    if ((dropsBody && describesBody) || (!staysAtOrigin && isForOriginAlone(lowerName))) continue;
    next.headers.set(name, value);
  }
  return next;
}

}  // namespace

std::variant<Deliver, platform::URLRequest, platform::Error> nextStep(const platform::URLRequest& request,
                                                                      const platform::HTTPURLResponse& response,
                                                                      int redirects, const NetworkPolicy& policy) {
  const std::string* location = response.headers.find("Location");
  if (!isRedirect(response.statusCode) || location == nullptr || location->empty()) return Deliver{};
  if (policy.redirects == NetworkPolicy::Redirects::delivered) return Deliver{};
  if (redirects >= maximumRedirects) return urlError(URLErrorCode::httpTooManyRedirects, request.url);

  const auto source = admissibleURL(response.url, policy);
  if (const auto* error = std::get_if<platform::Error>(&source)) return *error;
  const auto& from = std::get<HTTPURL>(source);
  const std::optional<platform::URL> url = resolveReference(response.url, *location);
  if (!url) return urlError(URLErrorCode::badURL, request.url);
  const auto target = admissibleURL(url, policy);
  if (const auto* error = std::get_if<platform::Error>(&target)) return *error;
  const auto& to = std::get<HTTPURL>(target);
  if (policy.redirects == NetworkPolicy::Redirects::onlyToTheSameHost && to.host() != from.host()) return Deliver{};
  if (from.isEncrypted() && !to.isEncrypted()) {
    return urlError(URLErrorCode::appTransportSecurityRequiresSecureConnection, url);
  }
  return redirected(request, *url, response.statusCode, to.hasSameOrigin(from));
}

}  // namespace services

#include "pellion/lab_server/lab_access.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "value/ascii.h"

namespace pellion {
namespace {

constexpr const char* openAddress = "open the address that pellion lab has printed";

constexpr const char* closedPage = R"(<!doctype html>
<html lang="en">
<meta charset="utf-8">
<title>The lab</title>
<h1>This page needs its token</h1>
<p>Open the address that <code>pellion lab</code> has printed; it ends with a token.</p>
<p>If you have just opened it from a link in another page: <a href="/">continue</a>.</p>
</html>
)";

bool isJSON(std::string_view type) {
  return value::equalsInAnyCase(type.substr(0, type.find_first_of("; \t")), "application/json");
}

}  // namespace

LabAccess::LabAccess(std::uint16_t port) : cookieName_("pellion-lab-" + std::to_string(port)) {
  constexpr std::uint16_t portOfHTTP = 80;  // browsers leave it out
  for (const char* const name : {"127.0.0.1", "localhost"}) {
    hosts_.push_back(name + (":" + std::to_string(port)));
    if (port == portOfHTTP) hosts_.emplace_back(name);
  }
}

std::string LabAccess::address() const { return "http://" + hosts_.front() + "/?token=" + token_; }

std::optional<LabReply> LabAccess::check(const LabRequest& request) const {
  if (auto refusal = checkSource(request)) return refusal;
  const bool isGet = request.method == "GET";
  if (isGet && request.path == "/" && request.token) {
    if (!isToken(request.token)) return withoutToken(request);
    return LabReply{.status = 303,
                    .headers = {{"Location", "/"},
                                {"Set-Cookie", cookieName_ + "=" + token_ + "; Path=/; HttpOnly; SameSite=Strict"}}};
  }
  if (!isToken(request.cookie)) return withoutToken(request);
  return isGet ? std::nullopt : checkChange(request);
}

/// Who asks: the name that the browser used, and the page that sent the request.
std::optional<LabReply> LabAccess::checkSource(const LabRequest& request) const {
  const auto host = request.header("host");
  if (!host || std::ranges::find(hosts_, *host) == hosts_.end()) {
    return failureReply(421, "this server has another name; " + std::string(openAddress));
  }
  const auto has = [&](const char* name) {
    return std::ranges::any_of(request.headers, [&](const auto& field) { return field.first == name; });
  };
  if (has("origin") && request.header("origin") != "http://" + std::string(*host)) {
    return failureReply(403, "the request comes from another page; " + std::string(openAddress));
  }
  // A link in another page may lead here, and shows nothing there.
  const bool isLink = request.method == "GET" && request.path == "/";
  const auto site = request.header("sec-fetch-site");
  if (has("sec-fetch-site") && site != "same-origin" && site != "none" && !isLink) {
    return failureReply(403, "the request comes from another site; " + std::string(openAddress));
  }
  return std::nullopt;
}

/// A form or image of another page can send requests too, but neither these fields nor JSON.
std::optional<LabReply> LabAccess::checkChange(const LabRequest& request) const {
  if (!request.header("origin") && request.header("sec-fetch-site") != "same-origin") {
    return failureReply(403, "the request does not say which page it comes from; send the field Origin");
  }
  if (request.method == "POST" && !isJSON(request.header("content-type").value_or(""))) {
    return failureReply(415, "the body is not labelled as JSON; send it with Content-Type: application/json");
  }
  return std::nullopt;
}

bool LabAccess::isToken(const std::optional<std::string>& text) const {
  return text && text->size() == token_.size() && CRYPTO_memcmp(text->data(), token_.data(), token_.size()) == 0;
}

LabReply LabAccess::withoutToken(const LabRequest& request) const {
  if (request.path == "/") return {.status = 403, .type = "text/html; charset=utf-8", .body = closedPage};
  return failureReply(403, "the token is missing or wrong; " + std::string(openAddress));
}

}  // namespace pellion

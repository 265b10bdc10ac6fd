#include "pellion/backend/strictness.h"

#include <vector>

#include "pellion/text/json_writer.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

Answer error(int status, std::string_view message) {
  return {.status = status, .body = compactJSON(Value::dictionary({{"status", "error"}, {"message", message}}))};
}

std::vector<std::string_view> segmentsOf(std::string_view path) {
  std::vector<std::string_view> segments;
  for (;;) {
    const std::size_t end = path.find('/');
    segments.push_back(path.substr(0, end));
    if (end == std::string_view::npos) return segments;
    path.remove_prefix(end + 1);
  }
}

/// "…/sdk/v1/PORTAL/PROJECT/" and one of the module's two ends; the server's URL may have a path of its own.
bool isModulesPath(std::string_view path) {
  const std::vector<std::string_view> segments = segmentsOf(path);
  if (segments.size() < 7) return false;
  const auto fromEnd = [&](std::size_t index) { return segments[segments.size() - index]; };
  const bool isToken = fromEnd(2) == "pushnotification" && fromEnd(1) == "device";
  const bool isStatistics = fromEnd(2) == "channel" && fromEnd(1) == "add";
  return fromEnd(6) == "sdk" && fromEnd(5) == "v1" && (isToken || isStatistics);
}

/// Why the authorization is not accepted; empty when it is.
std::string_view authorizationFault(const std::string* field, const std::optional<std::string>& bearer) {
  constexpr std::string_view scheme = "bearer ";
  if (field == nullptr) return "there is no Authorization";
  const bool isBearer = value::asciiLowercase(field->substr(0, scheme.size())) == scheme;
  if (!isBearer || field->size() == scheme.size()) return "Authorization is no bearer token";
  return bearer && field->substr(scheme.size()) != *bearer ? "the bearer token is another one" : "";
}

/// Why the body is not what the header says; empty when it is.
std::string_view bodyFault(const ReceivedRequest& request, const DecodedBody& body) {
  const std::string* const encoding = request.findHeader("Content-Encoding");
  const bool shouldBeGzip = encoding != nullptr && value::asciiLowercase(*encoding) == "gzip";
  if (!body.isJWT) return "the body is not a JWT";
  if (body.isGzip && !shouldBeGzip) return "the body is gzip, and Content-Encoding does not say so";
  if (!body.isGzip && shouldBeGzip) return "Content-Encoding is gzip, and the body is not";
  return body.json ? "" : "the content of the body is not JSON";
}

}  // namespace

std::optional<Answer> refusal(const ReceivedRequest& request, const std::optional<std::string>& bearer) {
  if (!isModulesPath(request.path())) return error(404, "the module uses no such path");
  const std::string_view authorization = authorizationFault(request.findHeader("Authorization"), bearer);
  if (!authorization.empty()) return error(401, authorization);
  if (!request.decodedBody) return std::nullopt;
  const DecodedBody& body = *request.decodedBody;
  if (body.isJWT && !body.isVerified) return error(401, "the signature of the body is not verified");
  const std::string_view fault = bodyFault(request, body);
  return fault.empty() ? std::nullopt : std::optional(error(415, fault));
}

}  // namespace pellion

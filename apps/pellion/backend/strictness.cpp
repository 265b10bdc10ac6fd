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

/// Why the path is none of the module's: "…/sdk/v1/PORTAL/PROJECT/" and one of its two ends. Empty when it is one. The
/// server's URL may have a path of its own.
std::string_view pathFault(std::string_view path) {
  const std::vector<std::string_view> segments = segmentsOf(path);
  const auto fromEnd = [&](std::size_t index) { return segments[segments.size() - index]; };
  const auto isMissing = [](std::string_view id) { return id.empty() || id == "(null)"; };
  constexpr std::string_view unknown = "the module uses no such path";
  if (segments.size() < 7) return unknown;
  const bool isToken = fromEnd(2) == "pushnotification" && fromEnd(1) == "device";
  const bool isStatistics = fromEnd(2) == "channel" && fromEnd(1) == "add";
  if (fromEnd(6) != "sdk" || fromEnd(5) != "v1" || (!isToken && !isStatistics)) return unknown;
  if (isMissing(fromEnd(4))) return "the path names no portal; give PORTAL_ID in the configuration";
  if (isMissing(fromEnd(3))) return "the path names no project; give PROJECT_ID in the configuration";
  return {};
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
  if (const std::string_view fault = pathFault(request.path()); !fault.empty()) return error(404, fault);
  if (request.method != "POST") {
    Answer answer = error(405, "the module sends POST alone");
    answer.headers = {{"Allow", "POST"}};
    return answer;
  }
  const std::string_view authorization = authorizationFault(request.findHeader("Authorization"), bearer);
  if (!authorization.empty()) return error(401, authorization);
  // A registration has its token in a header field.
  const bool needsBody = request.path().ends_with("/channel/add");
  if (!request.decodedBody)
    return needsBody ? std::optional(error(400, "the statistics are missing: there is no body")) : std::nullopt;
  const DecodedBody& body = *request.decodedBody;
  if (body.isJWT && !body.isVerified) return error(401, "the signature of the body is not verified");
  const std::string_view fault = bodyFault(request, body);
  return fault.empty() ? std::nullopt : std::optional(error(415, fault));
}

}  // namespace pellion

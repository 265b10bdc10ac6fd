#include <algorithm>

#include "fuzz/target.h"
#include "pellion/backend/received_request.h"
#include "pellion/backend/strictness.h"
#include "pellion/text/json_writer.h"
#include "platform/json_serialization.h"
#include "services/gzip.h"
#include "services/jwt.h"

// Reads a request as `pellion backend` receives it: a line "METHOD TARGET", lines "Name: value", an empty line, the
// body. What is decoded is encoded again and gives the same; what cannot be decoded has a fault, which --strict
// refuses. The body is read as it is, and as the content of a JWT, compressed and not.

namespace fuzz {
namespace {

using pellion::DecodedBody;
using pellion::ReceivedRequest;

const std::string secret = "secret";

std::string_view cutAt(std::string_view& text, std::string_view mark) {
  const std::string_view part = text.substr(0, text.find(mark));
  text.remove_prefix(std::min(part.size() + mark.size(), text.size()));
  return part;
}

ReceivedRequest readRequest(std::string_view input) {
  ReceivedRequest request;
  std::string_view first = cutAt(input, "\n");
  request.method = cutAt(first, " ");
  request.target = first;
  for (std::string_view line = cutAt(input, "\n"); !line.empty(); line = cutAt(input, "\n")) {
    const std::string_view name = cutAt(line, ": ");
    request.headers.emplace_back(name, line);
  }
  request.body = input;
  return request;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    encoded.append({'%', digits[byte >> 4], digits[byte & 15]});
  }
  return encoded;
}

void requireQueryAgain(const ReceivedRequest& request) {
  std::string query;
  for (const auto& [name, value] : request.queryItems) {
    query += (query.empty() ? "" : "&") + percentEncoded(name) + '=' + percentEncoded(value);
  }
  require(pellion::parseQuery(query) == request.queryItems, "the items of a query, encoded again, are the same",
          request.query());
}

void requireWhole(const DecodedBody& body) {
  const auto isFault = [](const DecodedBody::Step& step) { return step.failed && !step.text.empty(); };
  const bool hasFault = std::ranges::any_of(body.steps, isFault);
  require(hasFault || (body.isJWT && body.json), "a body without a fault is a JWT around JSON");
  require(hasFault || std::ranges::none_of(body.steps, &DecodedBody::Step::failed), "a fault has a text");
  require(!body.isVerified || body.isJWT, "only a JWT is verified");
}

/// Decodes a JWT of the content, compressed or not, that the backend's secret signs.
void requireSignedAgain(std::string_view content, bool isCompressed) {
  std::string packed(content);
  if (isCompressed) packed = textOf(services::gzip(bytesOf(content), 1)->bytes());
  const std::string token = services::signedJWT(R"({"alg":"HS256"})", bytesOf(packed), secret).value();
  const DecodedBody body = pellion::decodeBody(token, secret);
  requireWhole(body);
  require(body.isJWT && body.isVerified, "what the secret signs is verified");
  const bool looksPacked = content.starts_with("\x1f\x8b");
  require(looksPacked || body.content == content, "the content comes out as it went in", content, body.content);
  require(looksPacked || body.isGzip == isCompressed, "what is compressed is opened, and nothing else", content);
  require(!pellion::decodeBody(token, "another " + secret).isVerified, "another secret verifies nothing");
}

/// The details are what a timeline, a trace or --json shows.
void requireShown(const ReceivedRequest& request) {
  const std::string line = pellion::compactJSON(request.details());
  require(line.find('\n') == std::string::npos, "the details are one line of JSON", line);
  const auto read = platform::JSONSerialization::JSONObjectWithData(bytesOf(line), nullptr);
  require(read && pellion::compactJSON(*read) == line, "the details, read again, are the same", line);
}

void requireJudged(const ReceivedRequest& request) {
  const auto refusal = pellion::refusal(request, std::nullopt);
  if (refusal) {
    constexpr int statuses[] = {400, 401, 404, 405, 415};
    require(std::ranges::find(statuses, refusal->status) != std::end(statuses), "a refusal has its status");
    return;
  }
  require(request.findHeader("Authorization") != nullptr, "what is accepted is authorized");
  require(!request.decodedBody || request.decodedBody->isVerified, "a body that is accepted is signed");
  require(!request.decodedBody || request.decodedBody->json, "a body that is accepted is JSON");
}

}  // namespace

void run(std::string_view input) {
  ReceivedRequest request = readRequest(input);
  request.decode(secret);
  requireQueryAgain(request);
  requireShown(request);
  requireJudged(request);
  require(request.decodedBody.has_value() == !request.body.empty(), "a body is decoded if there is one");
  if (request.decodedBody) requireWhole(*request.decodedBody);
  requireSignedAgain(request.body, false);
  requireSignedAgain(request.body, true);
}

}  // namespace fuzz

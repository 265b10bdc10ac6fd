#include "services/core_library/signed_body.h"

#include "platform/json_serialization.h"
#include "services/jwt.h"

namespace services {
namespace {

using platform::Value;

std::optional<Value> bodyOf(const std::optional<std::string>& text) {
  return text ? std::optional(Value::bytes(*text)) : std::nullopt;
}

}  // namespace

std::optional<Value> signedPayload(const Value& payload, std::string_view secret) {
  const Value claims = platform::JSONSerialization::dataWithJSONObject(payload);
  return bodyOf(signedJWT(R"({"alg":"HS256","typ":"JWT"})", claims.bytes(), secret));
}

std::optional<Value> signedGzip(const Value& bytes, std::string_view secret) {
  return bodyOf(signedJWT(R"({"alg":"HS256","cty":"application/gzip"})", bytes.asBytes("bytes"), secret));
}

}  // namespace services

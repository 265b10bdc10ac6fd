#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/value.h"

namespace pellion {

/// The decoded content of a request's body: a compact JWS (RFC 7515, HS256) around gzip around JSON, opened layer by
/// layer. A layer that does not open is reported, and decoding continues with the data at hand; no error is fatal.
struct DecodedBody {
  struct Step {
    std::string text;
    bool failed = false;
  };
  std::vector<Step> steps;
  bool isJWT = false;
  bool isVerified = false;              ///< its signature, with the secret
  bool isGzip = false;                  ///< the JWT's payload, opened
  std::string content;                  ///< the content of the innermost layer that opened
  std::optional<platform::Value> json;  ///< the content as JSON, when it is JSON
};

/// Without a secret the signature is not checked, and the steps say so.
DecodedBody decodeBody(std::string_view body, const std::optional<std::string>& secret);

/// The bytes of base64url text without padding (RFC 4648, section 5); nothing for other text.
std::optional<std::string> base64URLDecoded(std::string_view text);

}  // namespace pellion

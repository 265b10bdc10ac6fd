#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/value.h"

namespace pellion {

/// What a request's body turned out to hold: a compact JWS (RFC 7515, HS256) around gzip around JSON, opened layer by
/// layer. A layer that does not open is said and the rest goes on with what is there; nothing here is fatal.
struct DecodedBody {
  struct Step {
    std::string text;
    bool failed = false;
  };
  std::vector<Step> steps;
  std::string content;                  ///< what the innermost layer that opened holds
  std::optional<platform::Value> json;  ///< the content's JSON, when it is that
};

/// Without a secret the signature is not checked, and the steps say so.
DecodedBody decodeBody(std::string_view body, const std::optional<std::string>& secret);

/// The bytes of base64url text without padding (RFC 4648, section 5); nothing when it is not that.
std::optional<std::string> base64URLDecoded(std::string_view text);

}  // namespace pellion

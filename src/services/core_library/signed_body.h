#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace services {

// How the core library signs the body of a request (services/jwt.h). They return nothing for what is too large.

/// The payload as the JSON claims. Raises the platform's exception for a payload that JSON cannot hold.
std::optional<platform::Value> signedPayload(const platform::Value& payload, std::string_view secret);

/// Compressed JSON, which is the signed payload itself; "cty" tells the reader its type (RFC 7515, 4.1.10).
std::optional<platform::Value> signedGzip(const platform::Value& bytes, std::string_view secret);

}  // namespace services

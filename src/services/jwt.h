#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace services {

/// Returns a compact JSON Web Signature (RFC 7515), HS256, of `payload` with the protected header `header` (JSON text).
/// Returns nothing when a part is larger than OpenSSL accepts at once, 1 GiB.
std::optional<std::string> signedJWT(std::string_view header, platform::ByteView payload, std::string_view secret);

}  // namespace services

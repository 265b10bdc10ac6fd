#pragma once

#include <optional>

#include "platform/value.h"

namespace services {

/// One gzip member (RFC 1952) that holds `data`. `level` is a fraction of the gzip tool's highest, 9: 1 is its "-9".
std::optional<platform::Value> gzip(platform::ByteView data, float level);

}  // namespace services

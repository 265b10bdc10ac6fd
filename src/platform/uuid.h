#pragma once

#include <string>

namespace platform {

/// Returns a new random UUID (RFC 9562, version 4) as 36 upper-case characters.
std::string makeUUIDString();

}  // namespace platform

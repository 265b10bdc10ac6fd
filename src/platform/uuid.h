#pragma once

#include <string>

namespace platform {

/// A fresh random UUID (RFC 9562, version 4) as 36 upper-case characters.
std::string makeUUIDString();

}  // namespace platform

#pragma once

#include <cstddef>
#include <string>

namespace pellion {

/// So many random bytes from a source for secrets, in hexadecimal. Throws std::runtime_error if there is none.
std::string randomHex(std::size_t bytes);

}  // namespace pellion

#pragma once

#include <cstddef>

namespace bench {

/// The number of bytes that this program has requested from `operator new` so far.
std::size_t allocatedBytes();

}  // namespace bench

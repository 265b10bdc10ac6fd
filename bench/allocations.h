#pragma once

#include <cstddef>

namespace bench {

/// Bytes that this program has asked `operator new` for so far.
std::size_t allocatedBytes();

}  // namespace bench

#pragma once

#include <span>

// Each file here whose functions stand before the runtime's own of the same names lists those names. The check of the
// link order reads all lists, which also makes the linker take all files.

namespace foundation {

using Names = std::span<const char* const>;

Names objectMemoryFunctions();
Names dispatchTableFunctions();
Names forwardingFunctions();
Names protocolFunctions();
Names resolutionFunctions();

}  // namespace foundation

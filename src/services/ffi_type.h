#pragma once

#include <ffi.h>

namespace services {

/// Returns libffi's type for a letter that value::typeLetters gives.
ffi_type* ffiType(char letter);

}  // namespace services

#pragma once

#include "foundation/objc/handles.h"

/// Returns the encoding with "@" in the place of each block ("@?", "@?<...>"). The text lives as long as the program.
FOUNDATION_C const char *foundation_encodingWithoutBlocks(const char *types);
/// Lets Foundation make method signatures of encodings that mention blocks.
FOUNDATION_C void foundation_repairSignatures();

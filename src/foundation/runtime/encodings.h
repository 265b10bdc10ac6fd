#pragma once

#include "foundation/runtime/handles.h"

/// The encoding of a method that was added without one: every call fits it. No compiler writes it, as that would write
/// the offsets in the frame too.
#define FOUNDATION_ANY_ENCODING "Vv@:"

/// Returns the encoding with "@" in the place of each block ("@?", "@?<...>"). The text lives as long as the program.
FOUNDATION_C const char *foundation_encodingWithoutBlocks(const char *types);
/// Lets Foundation make method signatures of encodings that mention blocks.
FOUNDATION_C void foundation_repairSignatures();

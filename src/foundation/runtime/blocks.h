#pragma once

#include "foundation/runtime/handles.h"

/// Makes a block on the heap, with one reference, that has `size` bytes of state behind it; `end` destroys the state.
FOUNDATION_C id foundation_blockCreate(FoundationCode invoke, size_t size, void (*end)(void *state));
FOUNDATION_C FoundationCode foundation_blockInvoke(id block);
FOUNDATION_C void *foundation_blockState(id block);
/// Returns a copy on the heap, or another reference to a block that is there already. Null gives null.
FOUNDATION_C id foundation_blockCopy(id block);
FOUNDATION_C void foundation_blockRelease(id block);

/// The names that blocks.m defines in the place of Foundation's own (interposition.h).
FOUNDATION_C const char *const *foundation_blockFunctions(size_t *count);

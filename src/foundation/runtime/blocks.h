#pragma once

#include "foundation/objc/handles.h"

/// The names that blocks.m defines in the place of Foundation's own (interposition.h).
FOUNDATION_C const char *const *foundation_blockFunctions(size_t *count);

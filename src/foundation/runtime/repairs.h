#pragma once

#include "foundation/objc/handles.h"

/// Puts the repairs of this folder in place. Runs once, when the program's classes are loaded; ends the program with
/// one sentence when the order of linking defeats them.
FOUNDATION_C void foundation_repairRuntime(void);

/// The names that blocks.m defines in the place of Foundation's own (interposition.h).
FOUNDATION_C const char *const *foundation_blockFunctions(size_t *count);

#pragma once

#include "foundation/runtime/handles.h"

/// Puts the repairs of this folder in place. Runs once, when the program's classes are loaded; ends the program with
/// one sentence when the order of linking defeats them.
FOUNDATION_C void foundation_repairRuntime(void);
/// The same, for code that needs the repairs before the program's classes are loaded. It also makes the linker take the
/// file that runs them at loading.
FOUNDATION_C void foundation_requireRepairs(void);

#pragma once

#include "foundation/objc/handles.h"

/// Puts the repairs of this folder in place. Runs once, when the program's classes are loaded; ends the program with
/// one sentence when the order of linking defeats them.
FOUNDATION_C void foundation_repairRuntime(void);

#pragma once

#include "foundation/objc/handles.h"

// A suite of user defaults is a persistent domain of the account's defaults. These raise as Objective-C does.

/// The file that guards changes of the defaults by several processes; null when there is no folder for it.
FOUNDATION_C id foundation_defaultsLockPath(void);
FOUNDATION_C id foundation_defaultsValue(id suite, id key);
FOUNDATION_C void foundation_setDefaultsValue(id suite, id key, id value);
FOUNDATION_C void foundation_synchronizeDefaults(void);

#pragma once

#include "foundation/objc/handles.h"

/// Makes an object that observes one key path of others and passes each change on; the caller owns it. `state` ends
/// with it.
FOUNDATION_C id foundation_makeRelay(void *state, void (*end)(void *state));
FOUNDATION_C void *foundation_relayState(id relay);
/// A change dictionary without the values that an observer has not asked for.
FOUNDATION_C id foundation_changeWith(id change, bool wantsNew, bool wantsOld);

/// Defined in C++. Raises as Objective-C does.
FOUNDATION_C void foundation_relayChange(id relay, id keyPath, id object, id change);

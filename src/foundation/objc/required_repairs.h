#pragma once

#include "foundation/objc/handles.h"

// What is known of the runtime's repairs (foundation/runtime/) outside their folder. On a runtime that needs none, the
// function does nothing.

/// Puts the repairs in place, for code that needs them before the program's classes are loaded. It also makes the
/// linker take the file that runs them at loading.
FOUNDATION_C void foundation_requireRepairs(void);

/// The encoding of a method that was added without one: every call fits it. No compiler writes it, as that would write
/// the offsets in the frame too.
#define FOUNDATION_ANY_ENCODING "Vv@:"

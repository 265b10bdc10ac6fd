#pragma once

#include "foundation/runtime/handles.h"

// What the C++ files of this folder ask of Foundation's objects.

/// An object with one reference and `extraBytes` behind its variables.
FOUNDATION_C id foundation_allocate(Class cls, size_t extraBytes);
FOUNDATION_C id foundation_retain(id object);
FOUNDATION_C void foundation_release(id object);
FOUNDATION_C id foundation_copy(id object);
FOUNDATION_C void foundation_sendDealloc(id object);
/// At the end of an object: clears the slots that refer to it and lets go of what is attached to it.
FOUNDATION_C void foundation_endSideData(id object);
/// The references beyond the first, as Foundation counts them.
FOUNDATION_C size_t foundation_extraReferences(id object);

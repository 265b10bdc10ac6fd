#pragma once

#include "foundation/objc/handles.h"

// What the files of this folder ask of Foundation's objects. In C++, because the repairs run while the program's
// Objective-C files are being loaded: until a file is loaded, it cannot send a message.

/// An object with one reference and `extraBytes` behind its variables.
FOUNDATION_C id foundation_allocate(Class cls, size_t extraBytes);
FOUNDATION_C id foundation_copy(id object);
FOUNDATION_C void foundation_sendDealloc(id object);
/// At the end of an object: clears the slots that refer to it and lets go of what is attached to it.
FOUNDATION_C void foundation_endSideData(id object);
/// Makes this thread known to Foundation, once. The first pool of a thread does it.
FOUNDATION_C void foundation_registerThread();

#pragma once

#include <ffi.h>

#include "foundation/objc/handles.h"

// The border between Objective-C's exceptions and C++'s, which do not see each other everywhere: a C++ exception would
// skip @finally, and C++ code cannot tell what an Objective-C one is. Messages from C++ pass one of the two guards.
// What they raise leaves as a platform::Exception that holds the object.

/// Calls a method whose arguments are integers and pointers, at most `foundation_guardedWordCount` besides receiver and
/// selector. A caller with other integer or pointer types, or with fewer arguments, casts it.
FOUNDATION_C uintptr_t foundation_guardedWords(id self, SEL selector, uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d
#ifdef __aarch64__
                                               ,
                                               uintptr_t e, uintptr_t f
#endif
);
#ifdef __aarch64__
enum { foundation_guardedWordCount = 6 };
#elif defined(__x86_64__)
enum { foundation_guardedWordCount = 4 };  // so many registers pass arguments
#endif

/// Calls a method of any signature; `arguments` begin with those of receiver and selector.
FOUNDATION_C void foundation_guardedCall(ffi_cif *signature, void *result, void **arguments);

/// Runs work that calls Foundation.
FOUNDATION_C void foundation_guardedWork(void (*work)(void *context), void *context);

/// Defined in C++: throws a platform::Exception that takes over the reference to the raised object.
FOUNDATION_C void foundation_throwInCxx(id raised);

/// The name and reason of a raised object, which need not be an NSException: its class's name and its description then.
FOUNDATION_C id foundation_exceptionName(id raised);
FOUNDATION_C id foundation_exceptionReason(id raised);
/// Raises a new NSException.
FOUNDATION_C void foundation_raise(id name, id reason);
/// Raises NSMallocException, with texts that need no memory.
FOUNDATION_C void foundation_raiseForMemory(void);
/// Raises an object that was raised before.
FOUNDATION_C void foundation_raiseAgain(id raised);

#pragma once

#include "foundation/objc/handles.h"

// Code of an application that the tests of the runtime need in Objective-C.

/// The result of -number, sent by compiled code.
FOUNDATION_C int cases_number(id object);
/// +number of a class that clang compiled, to which the test has added it.
FOUNDATION_C int cases_classNumber(const char *name);

/// A block of the stack. It captures another one, which captures `object` and two __block variables: `borrowed` and a
/// count, which each call raises by one and returns.
FOUNDATION_C void cases_withCountingBlock(id object, id borrowed, void (*use)(void *context, id block), void *context);
FOUNDATION_C int cases_callNumberBlock(id block);

/// Whether Foundation makes a signature of an encoding with blocks.
FOUNDATION_C bool cases_makesSignature(const char *types);
/// The selectors, with their arguments' sum, that reached the -forwardInvocation: of a Forwarder.
FOUNDATION_C double cases_takeForwarded(void);

/// A date, an array that holds itself, and "ab" with half of a surrogate pair inside.
FOUNDATION_C id cases_date(void);
FOUNDATION_C id cases_arrayInItself(void);
FOUNDATION_C id cases_brokenText(void);
/// A proxy of the object.
FOUNDATION_C id cases_proxyOf(id object);

/// Turns the main run loop once in a mode, at most ten milliseconds.
FOUNDATION_C void cases_turnRunLoop(const char *mode);

/// The exception that Objective-C catches when the message raises, behind a @finally that must run.
FOUNDATION_C id cases_caughtFrom(id receiver, const char *selector, bool *finallyRan);
/// The same for a notification that is posted.
FOUNDATION_C id cases_caughtFromPost(const char *name, bool *finallyRan);
/// What -raiseKept of a Summing raises.
FOUNDATION_C id cases_keptException(void);

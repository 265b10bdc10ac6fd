#pragma once

#include "foundation/runtime/handles.h"

// Code of an application that the tests of the runtime need in Objective-C.

/// The result of -number, sent by compiled code.
FOUNDATION_C int cases_number(id object);
/// +number of a class that clang compiled, to which the test has added it.
FOUNDATION_C int cases_classNumber(const char *name);

/// A block of the stack that captures `object` and a __block variable, which each call raises by one and returns.
FOUNDATION_C void cases_withCountingBlock(id object, void (*use)(void *context, id block), void *context);
FOUNDATION_C int cases_callNumberBlock(id block);

/// Whether Foundation makes a signature of an encoding with blocks.
FOUNDATION_C bool cases_makesSignature(const char *types);
/// The selectors, with their arguments' sum, that reached the -forwardInvocation: of a Forwarder.
FOUNDATION_C double cases_takeForwarded(void);

/// NSDate, NSURL and an array that holds itself.
FOUNDATION_C id cases_date(void);
FOUNDATION_C id cases_arrayInItself(void);

/// Turns the main run loop once in a mode, at most ten milliseconds.
FOUNDATION_C void cases_turnRunLoop(const char *mode);

/// The name of the exception that Objective-C catches when the message raises, behind a @finally that must run.
FOUNDATION_C id cases_caughtFrom(id receiver, const char *selector, bool *finallyRan);

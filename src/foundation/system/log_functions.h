#pragma once

#include "foundation/objc/handles.h"

/// Calls one of the core library's two log functions with a finished text; false when the program has no such function.
FOUNDATION_C bool foundation_log(bool isInternal, const char *file, int line, const char *function, id marker, id tag,
                                 id text);
FOUNDATION_C bool foundation_hasLog(bool isInternal);

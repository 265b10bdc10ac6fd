#pragma once

#include "foundation/runtime/handles.h"

/// Makes this thread known to Foundation, once; needed before a thread that others started touches an object.
FOUNDATION_C void foundation_registerThread(void);
FOUNDATION_C bool foundation_isMainThread(void);

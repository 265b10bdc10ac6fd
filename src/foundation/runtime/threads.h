#pragma once

#include "foundation/objc/handles.h"

/// Makes this thread known to Foundation, once. The first pool of a thread does it.
FOUNDATION_C void foundation_registerThread();

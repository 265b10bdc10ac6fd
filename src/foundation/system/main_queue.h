#pragma once

#include "foundation/objc/handles.h"

/// Lets the main thread's run loop call foundation_turnMainQueue, soon or after a number of seconds; never inside the
/// call. Any thread.
FOUNDATION_C void foundation_wakeMainQueue(void);
FOUNDATION_C void foundation_wakeMainQueueAfter(double seconds);

/// Defined in C++. Raises as Objective-C does.
FOUNDATION_C void foundation_turnMainQueue(void);

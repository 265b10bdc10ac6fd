#pragma once

#include "foundation/objc/handles.h"

/// Lets the main thread's run loop call foundation_turnMainQueue soon, never inside the call. Any thread.
FOUNDATION_C void foundation_wakeMainQueue(void);
/// The same after a number of seconds, in the place of an earlier such request. Main thread.
FOUNDATION_C void foundation_wakeMainQueueAfter(double seconds);

/// Defined in C++. Raises as Objective-C does.
FOUNDATION_C void foundation_turnMainQueue(void);

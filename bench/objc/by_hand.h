#pragma once

#include "foundation/objc/handles.h"

// The interception written by hand: the same replacement of the same methods, and nothing else of the module.

/// Makes the application's delegate call interceptors before its own code.
FOUNDATION_C void byHand_replaceDelegateMethods(void);
FOUNDATION_C void byHand_addInterceptor(id interceptor);
/// Makes the notification center's delegate read each payload before its own code.
FOUNDATION_C void byHand_replaceCenterDelegateMethods(void);
/// All replacements of a start: both delegates, the badge setters, and the observers of both delegates and of two
/// notifications.
FOUNDATION_C void byHand_startService(void);

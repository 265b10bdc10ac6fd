#pragma once

#include "foundation/objc/handles.h"

/// Passes every notification of this name that the default center gets to foundation_notificationPosted. Once for a
/// name.
FOUNDATION_C void foundation_receiveNotifications(id name);

/// Defined in C++. Raises as Objective-C does.
FOUNDATION_C void foundation_notificationPosted(id notification);

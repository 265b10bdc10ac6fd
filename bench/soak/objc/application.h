#pragma once

#include "foundation/objc/handles.h"

// A small application in Objective-C: its delegates record what they receive. Values cross as Foundation's objects.

/// Sets the delegates, as an application does before the service starts.
FOUNDATION_C void shop_launch(void);
/// What the delegates received and the system was asked for since the last call, as texts.
FOUNDATION_C id shop_takeEvents(void);
/// Runs the main thread's run loop until `isOver` returns true, at most ten seconds.
FOUNDATION_C bool shop_runUntil(bool (*isOver)(void *context), void *context);

FOUNDATION_C void shop_deliverToken(id token);
FOUNDATION_C void shop_deliverInBackground(id userInfo);
FOUNDATION_C void shop_deliverInForeground(id userInfo);
FOUNDATION_C void shop_deliverResponse(id userInfo, id actionIdentifier);
FOUNDATION_C void shop_announce(id report);
FOUNDATION_C void shop_setBadges(int application, int center);
/// By a new one of another class than the first.
FOUNDATION_C void shop_replaceCenterDelegate(void);

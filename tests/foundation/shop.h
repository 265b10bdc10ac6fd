#pragma once

#include "foundation/runtime/handles.h"

// A small application in Objective-C: its delegates record what they receive. Values cross as Foundation's objects.

/// Gives the core library its configuration, a property list's path.
FOUNDATION_C void shop_configure(const char *propertyList);
/// Sets the delegates, as an application does before the service starts.
FOUNDATION_C void shop_launch(void);
/// What the delegates received and the system was asked for since the last call, as texts.
FOUNDATION_C id shop_takeEvents(void);
FOUNDATION_C id shop_takeLog(void);
/// Runs the main thread's run loop until `isOver` returns true, at most ten seconds.
FOUNDATION_C bool shop_runUntil(bool (*isOver)(void *context), void *context);

FOUNDATION_C void shop_deliverToken(id token);
FOUNDATION_C void shop_failToRegister(void);
FOUNDATION_C void shop_deliverInBackground(id userInfo);
FOUNDATION_C void shop_deliverInForeground(id userInfo);
FOUNDATION_C void shop_deliverResponse(id userInfo, id actionIdentifier);
FOUNDATION_C void shop_announce(id report);
FOUNDATION_C void shop_setBadges(int application, int center);
FOUNDATION_C void shop_replaceApplicationDelegate(void);
FOUNDATION_C void shop_replaceCenterDelegate(void);
/// The center's delegate becomes a proxy that forwards to the former one.
FOUNDATION_C void shop_useProxy(void);
/// Sends the proxy a notification, whatever the center's delegate is.
FOUNDATION_C void shop_presentThroughProxy(id userInfo);

/// The names of exceptions that Objective-C catches: of the application's own method, and of what C++ raises in `work`,
/// behind a @finally that must run.
FOUNDATION_C id shop_caughtFromDelegate(void);
FOUNDATION_C id shop_caughtFrom(id receiver, const char *selector, bool *finallyRan);

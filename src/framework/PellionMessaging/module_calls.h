#pragma once

#include "foundation/objc/handles.h"

// The module's public classes, for their Objective-C side. Objects that are returned are autoreleased. A call raises as
// Objective-C does.

FOUNDATION_C void pl_startService(void);
FOUNDATION_C id pl_messaging(void);
FOUNDATION_C id pl_APNSToken(void);
FOUNDATION_C void pl_setAPNSToken(id token);
/// An array of the identifiers.
FOUNDATION_C id pl_pellionPnID(void);
FOUNDATION_C void pl_setPellionPnID(id identifiers);
FOUNDATION_C id pl_conversionEvent(void);
FOUNDATION_C void pl_setConversionEvent(id goal);
FOUNDATION_C id pl_pnID(void);
FOUNDATION_C void pl_setPnID(id identifier);
FOUNDATION_C void pl_didFailToRegister(id error);
FOUNDATION_C void pl_updateLogMsgIds(id payload);
FOUNDATION_C void pl_appDidReceiveMessage(id payload, id response);
FOUNDATION_C id pl_findValue(id key, id dictionary);
FOUNDATION_C id pl_actionButton(id identifier, id buttons);
FOUNDATION_C id pl_parsedBody(id body);
FOUNDATION_C void pl_updateBadgeCount(int64_t count);
FOUNDATION_C int64_t pl_badgeCount(void);

FOUNDATION_C void pl_handleNotificationResponse(id response, id completion);
FOUNDATION_C id pl_resolvedClickAction(id response);
FOUNDATION_C id pl_addInfo(id userInfo);
FOUNDATION_C bool pl_isStringValue(id value);
FOUNDATION_C void pl_openClickAction(id clickAction);

FOUNDATION_C id pl_registerInterceptor(id interceptor);
FOUNDATION_C void pl_unregisterInterceptor(id identifier);
FOUNDATION_C bool pl_isAppDelegateProxyEnabled(void);

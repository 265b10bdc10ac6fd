#pragma once

#include "foundation/objc/handles.h"

/// The entry of the application's Info.plist, or null.
FOUNDATION_C id foundation_infoEntry(id key);
FOUNDATION_C id foundation_processName(void);
/// Writes a line to the system's log.
FOUNDATION_C void foundation_systemLog(const char *text);

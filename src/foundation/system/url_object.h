#pragma once

#include "foundation/objc/handles.h"

/// A URL object for the text of a platform::URL; null, and a line in the system's log, when Foundation makes none of
/// it.
FOUNDATION_C id foundation_makeURL(id text);

#pragma once

#include "foundation/objc/handles.h"

/// A payload of 4 KiB as JSON: an alert, addInfo, and custom keys. The caller owns it.
FOUNDATION_C id bench_makePayload(void);
/// Copies every dictionary, array and text of the object. The caller owns the copy.
FOUNDATION_C id bench_deepCopy(id object);
/// Whether the copy shares no dictionary, array or text with the object.
FOUNDATION_C bool bench_isDeepCopy(id object, id copy);

#pragma once

#include <optional>

#include "platform/error.h"
#include "platform/value.h"

namespace platform::JSONSerialization {

/// Decodes JSON text (RFC 8259; UTF-8, or UTF-16 and UTF-32 by their first bytes) with default options. The top level
/// must be an object or a list, at most 512 levels deep. Integers are exact in 64 bits; the last of repeated keys
/// counts. For anything else it returns nothing and sets `error`, if not null, to NSCocoaErrorDomain 3840.
std::optional<Value> JSONObjectWithData(ByteView data, Error* error);

/// Encodes as compact UTF-8 text (bytes) with options 0. Raises NSInvalidArgumentException for what JSON cannot hold.
Value dataWithJSONObject(const Value& object);

}  // namespace platform::JSONSerialization

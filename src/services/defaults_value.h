#pragma once

#include <string_view>

#include "platform/value.h"

namespace services {

/// Raises NSInvalidArgumentException, as user defaults do, for a value that holds null or a key that is not text.
/// Objects may be property lists of a real Foundation, such as dates; it judges them itself.
void requirePropertyList(const platform::Value& value, std::string_view key, bool mayHoldObjects);

}  // namespace services

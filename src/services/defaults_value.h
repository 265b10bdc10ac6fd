#pragma once

#include <string_view>

#include "platform/value.h"

namespace services {

/// Raises NSInvalidArgumentException, as user defaults do, for a value that holds null, a key that is not text or an
/// object that `isPropertyList` does not accept: a real Foundation has some that are, such as dates.
void requirePropertyList(const platform::Value& value, std::string_view key, bool (*isPropertyList)(id object));

}  // namespace services

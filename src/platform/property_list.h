#pragma once

#include <optional>
#include <string>

#include "platform/value.h"

namespace platform {

/// Reads a property list file, XML or binary, whose top level is a dictionary. Returns nothing when there is no file or
/// no dictionary in it; the platform does not say why.
std::optional<Value> dictionaryWithContentsOfFile(const std::optional<std::string>& path);

}  // namespace platform

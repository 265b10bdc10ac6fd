#pragma once

#include <string_view>
#include <vector>

#include "pellion/document/shape.h"

namespace pellion {

/// An object of entries of the phone's configuration, null for absent. Each entry is checked by itself, so that the
/// error is at its place.
extern const Shape configurationShape;

/// Throws InputError where these together would not fit a property list any more.
void checkConfigurationSize(std::string_view file, const std::vector<const JSONNode*>& configurations);

}  // namespace pellion

#pragma once

#include <string_view>
#include <vector>

#include "pellion/document/shape.h"

namespace pellion {

/// An object of entries of the phone's configuration, null for absent. Each entry is checked separately, so that the
/// error names its place.
extern const Shape configurationShape;
/// The same, or the name of a file that holds it.
extern const Shape sharedConfigurationShape;

/// A complete configuration for the built-in backend, for a scenario that has none.
JSONNode defaultConfiguration();

/// Throws InputError when these together do not fit into a property list.
void checkConfigurationSize(std::string_view file, const std::vector<const JSONNode*>& configurations);

}  // namespace pellion

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/shape.h"

namespace pellion {

/// An object of entries of the phone's configuration, null for absent. Each entry is checked separately, so that the
/// error names its place.
extern const Shape configurationShape;
/// The same, or the name of a file that holds it.
extern const Shape sharedConfigurationShape;

/// What is wrong with the file that CA_FILE names, and the remedy after a semicolon; nothing for one with a certificate
/// in PEM. A relative path begins beside `file`, which has the entry.
std::optional<std::string> certificateFault(std::string_view file, std::string_view path);

/// A complete configuration for the built-in backend, for a scenario that has none.
JSONNode defaultConfiguration();

/// Throws InputError when these together do not fit into a property list.
void checkConfigurationSize(std::string_view file, const std::vector<const JSONNode*>& configurations);

}  // namespace pellion

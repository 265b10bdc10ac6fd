#pragma once

#include <string>

namespace platform {

/// Ends the program for a mistake in its code, as the platform does: `mistake` says what and where. Not an exception of
/// the platform: no code of the module catches it.
[[noreturn]] void programmingError(const std::string& mistake);

}  // namespace platform

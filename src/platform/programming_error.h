#pragma once

#include <string>

namespace platform {

/// Ends the program because of a mistake in its code, as the platform does. `mistake` says what and where. This is not
/// an exception of the platform: no code of the module catches it.
[[noreturn]] void programmingError(const std::string& mistake);

}  // namespace platform

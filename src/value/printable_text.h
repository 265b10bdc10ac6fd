#pragma once

#include <string>
#include <string_view>

namespace host {

/// The text with U+FFFD in the place of broken UTF-8.
std::string wellFormed(std::string_view text);

/// The same with control characters written as escapes: what comes from outside must neither break a line in two nor
/// steer a terminal.
std::string printable(std::string_view text);

}  // namespace host

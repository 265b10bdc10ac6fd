#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace host {

/// The text of a URL with what RFC 3986 does not allow in user, password, path, query and fragment percent-encoded, and
/// in the host by IDNA. A component that needs it is encoded whole: each "%" in it too, also where it begins a valid
/// escape. Scheme, port and a host in brackets stay as they are, right or wrong. Nothing for a host that IDNA has no
/// name for, and for text that is not UTF-8.
std::optional<std::string> encodedURLText(std::string_view text);

}  // namespace host

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace services {

/// Returns the text of a URL with percent-encoding of what RFC 3986 does not allow in user, password, path, query and
/// fragment, and with IDNA in the host. A component that needs encoding is encoded whole: each "%" in it too, even at
/// the start of a valid escape. Scheme, port and a host in brackets stay unchanged, right or wrong. Returns nothing
/// for a host that has no IDNA name, and for text that is not UTF-8.
std::optional<std::string> encodedURLText(std::string_view text);

}  // namespace services

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace services {

/// The scheme, host and port of a URL. An absent part differs from an empty one: "file:///x" has an empty host.
struct URLComponents {
  std::optional<std::string> scheme;  // lower case
  std::optional<std::string> host;    // lower case, without the brackets of an IPv6 address
  std::optional<std::uint16_t> port;  // also absent when it is empty
};

/// Returns nothing for text outside the grammar of RFC 3986 and for a port above 65535.
std::optional<URLComponents> parseURLComponents(std::string_view text);
/// Returns the scheme alone, in lower case, for any port. Returns nothing without a scheme or outside the grammar.
std::optional<std::string> urlScheme(std::string_view text);

}  // namespace services

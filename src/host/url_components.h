#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// The parts of a URL or relative reference. An absent part differs from an empty one: "//h?" has an empty query.
struct URLComponents {
  std::optional<std::string> scheme;  // lower case
  std::optional<std::string> host;    // lower case, without the brackets of an IPv6 address
  std::optional<std::uint16_t> port;  // absent when it is empty
  std::string path;                   // as it is written, still percent-encoded
  std::optional<std::string> query;   // likewise, without "?"

  /// What an HTTP request line names: the path, at least "/", and the query.
  [[nodiscard]] std::string target() const;
};

/// Nothing for text outside the grammar of RFC 3986 and for a port above 65535.
std::optional<URLComponents> parseURLComponents(std::string_view text);

}  // namespace host

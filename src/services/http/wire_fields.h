#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/url_session.h"

namespace services {

/// Returns why a request must not be written to a connection: a method or field name that is no token, a value that
/// would start a line of its own, framing that the caller may not choose. Returns nothing when it may be written.
std::optional<std::string> wireFault(const platform::URLRequest& request);

using WireField = std::pair<std::string, std::string>;

/// Returns the request's header fields in their order, with the body's true length in place of any other, then the
/// platform's, of which `userAgent` is one.
std::vector<WireField> wireFields(const platform::URLRequest& request, std::string_view userAgent);

/// The lines for libcurl that make it send these fields. The others that it would add are removed, except Host.
std::vector<std::string> libcurlLines(const std::vector<WireField>& fields);

}  // namespace services

#pragma once

#include <optional>
#include <string_view>

#include "platform/url.h"

namespace services {

/// Resolves the reference in a Location field against an http or https URL by RFC 3986, section 5. Spaces and other
/// bytes that no URL may hold are percent-encoded, because servers send them unencoded. Returns nothing when the text
/// is still outside the grammar.
std::optional<platform::URL> resolveReference(const platform::URL& base, std::string_view reference);

}  // namespace services

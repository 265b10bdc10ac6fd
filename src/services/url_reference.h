#pragma once

#include <optional>
#include <string_view>

#include "platform/url.h"

namespace host {

/// What the reference in a Location field means against an http or https URL, by RFC 3986, section 5. Spaces and other
/// bytes that no URL may hold are percent-encoded, because servers send them unencoded; nothing when the text is
/// outside the grammar even so.
std::optional<platform::URL> resolveReference(const platform::URL& base, std::string_view reference);

}  // namespace host

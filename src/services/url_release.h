#pragma once

#include <string_view>

namespace services {

/// Each backend defines this: whether the running application was linked before release 17 of the platform, so that
/// `URLWithString:` encodes nothing for it.
bool isLinkedBefore17();

/// Each backend defines this: called when `URLWithString:` returns nil for a text that is not empty. The platform says
/// nothing about it, and code that goes on without a URL does nothing visible.
void noteTextWithoutURL(std::string_view text);

}  // namespace services

#pragma once

namespace services {

/// Each backend defines this: whether the running application was linked before release 17 of the platform, so that
/// `URLWithString:` encodes nothing for it.
bool isLinkedBefore17();

}  // namespace services

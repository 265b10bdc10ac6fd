#pragma once

#include <utility>

#include "foundation/objc/guard.h"

namespace foundation {

/// Runs `work`, which calls Foundation by other means than a message. What Foundation raises leaves as a
/// platform::Exception; `work` itself throws nothing.
template <class Work>
void guarded(Work work) {
  foundation_guardedWork([](void* context) { (*static_cast<Work*>(context))(); }, &work);
}

}  // namespace foundation

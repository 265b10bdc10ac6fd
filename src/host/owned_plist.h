#pragma once

#include <plist/plist.h>

#include <memory>

namespace host {

struct FreePlist {
  void operator()(void* plist) const { plist_free(plist); }
};
/// A tree of libplist's.
using OwnedPlist = std::unique_ptr<void, FreePlist>;

}  // namespace host

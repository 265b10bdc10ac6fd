#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

#include "appdelegate/PLXSafeWeakContainer.h"
#include "platform/reference.h"

/// The interceptors of a process by interceptor ID, each in a container that does not keep it alive. Main thread.
///
/// A walk stands changes from within: what is there at its beginning is visited once, also when it is removed before
/// its turn; what is added meanwhile waits for the next walk. So a walk copies and retains nothing.
class InterceptorRegistry {
 public:
  /// The container under the ID, or null.
  [[nodiscard]] PLXSafeWeakContainer* find(std::string_view interceptorID);
  /// Replaces what is under the ID.
  void set(std::string_view interceptorID, platform::Strong container);
  void remove(std::string_view interceptorID);
  /// Those whose interceptor is gone included.
  [[nodiscard]] std::size_t count() const;

  /// Calls `visit` with each interceptor ID and container.
  template <class Visit>
  void forEach(Visit visit) {
    const Walk walk(*this);
    // NOLINTNEXTLINE(modernize-loop-convert): an interceptor added meanwhile leaves no iterator valid
    for (std::size_t place = 0, end = entries_.size(); place < end; ++place) {
      const Entry& entry = entries_[place];
      visit(entry.interceptorID, platform::objectState<PLXSafeWeakContainer>(entry.container.get()));
    }
  }

 private:
  struct Entry {
    std::string interceptorID;
    platform::Strong container;
    bool isRemoved = false;  ///< during a walk, which may not have come to it
  };
  struct Walk {
    explicit Walk(InterceptorRegistry& walked) : registry(walked) { ++registry.walks_; }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() {
      --registry.walks_;
      if (registry.holdsRemoved_) registry.dropRemoved();
    }
    InterceptorRegistry& registry;
  };

  Entry* findEntry(std::string_view interceptorID);
  void dropRemoved();

  std::deque<Entry> entries_;  // an entry keeps its place in memory while others are added
  int walks_ = 0;
  bool holdsRemoved_ = false;
};

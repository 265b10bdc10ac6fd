#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "appdelegate/PLXSafeWeakContainer.h"
#include "platform/reference.h"

/// The interceptors of a process by interceptor ID, each in a container that does not keep it alive. Main thread.
///
/// Every change makes a new list of entries, so a loop over the present list may change the registry.
class InterceptorRegistry {
 public:
  struct Entry {
    std::string interceptorID;
    platform::Strong container;

    /// Null once the interceptor is gone.
    [[nodiscard]] platform::Strong interceptor() const {
      return platform::objectState<PLXSafeWeakContainer>(container.get()).object();
    }
  };
  using Entries = std::vector<Entry>;

  [[nodiscard]] std::shared_ptr<const Entries> entries() const { return entries_; }
  /// The entry under the ID, or null. Valid until the next change.
  [[nodiscard]] const Entry* find(std::string_view interceptorID) const;
  /// Whether this same entry is registered: its container is the one under its ID.
  [[nodiscard]] bool holds(const Entry& entry) const;
  /// Stores the container under the ID, in place of any other.
  void set(std::string_view interceptorID, platform::Strong container);
  void remove(std::string_view interceptorID);
  /// Includes entries whose interceptor is gone.
  [[nodiscard]] std::size_t count() const { return entries_->size(); }

 private:
  std::shared_ptr<const Entries> entries_ = std::make_shared<Entries>();
};

#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "platform/value.h"

namespace platform {

/// A handle to a user-defaults suite: a key-value store shared by every process of an App Group. When one handle stores
/// a value, the next read through any other returns it. It never reports a failure: a store that cannot be written
/// keeps its contents, a store that cannot be read appears empty. Any thread.
class UserDefaults {
 public:
  static std::shared_ptr<UserDefaults> initWithSuiteName(std::string_view name);

  virtual ~UserDefaults() = default;
  virtual std::optional<Value> objectForKey(std::string_view key) = 0;
  /// Property-list values only; a null or another object inside raises NSInvalidArgumentException
  /// ("Attempt to insert non-property list object …").
  virtual void setObject(const Value& value, std::string_view key) = 0;
  /// After this call, other processes can read everything that was set.
  virtual void synchronize() = 0;
};

}  // namespace platform

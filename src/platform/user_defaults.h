#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "platform/value.h"

namespace platform {

/// A handle on a user-defaults suite: a key-value store shared by every process of an App Group. What one handle
/// stores the next read of any other sees. It never reports a failure: a store that cannot be written keeps what it
/// held, one that cannot be read holds nothing. Any thread.
class UserDefaults {
 public:
  static std::shared_ptr<UserDefaults> initWithSuiteName(std::string_view name);

  virtual ~UserDefaults() = default;
  virtual std::optional<Value> objectForKey(std::string_view key) = 0;
  /// Property-list values only; a null or another object inside raises NSInvalidArgumentException
  /// ("Attempt to insert non-property list object …").
  virtual void setObject(const Value& value, std::string_view key) = 0;
  /// Whatever was set is where other processes read it.
  virtual void synchronize() = 0;
};

}  // namespace platform

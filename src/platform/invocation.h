#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/objc.h"

namespace platform {

/// A message as an object: arguments by index, where the receiver is 0, the selector 1 and the first real argument 2.
class Invocation {
 public:
  /// Includes the receiver and the selector.
  static constexpr std::size_t mostArguments = 8;

  /// `types` is the encoding of the method to call. Nothing for a null or malformed encoding or too many arguments.
  static std::optional<Invocation> invocationWithObjCTypes(const char* types);

  void setTarget(id target);
  void setSelector(SEL selector);
  /// Copies the argument that `location` points at. The encoding gives its size. Objects are not retained.
  /// An index outside the encoding raises NSInvalidArgumentException.
  void setArgument(const void* location, std::size_t index);
  /// Sends the message; a null target does nothing.
  void invoke();
  void getReturnValue(void* location) const;

 private:
  struct Interface;  // how methods of one encoding are called
  explicit Invocation(const Interface& interface) : interface_(&interface) {}

  const Interface* interface_;
  std::array<std::uint64_t, mostArguments> arguments_{};  // every argument is a scalar or a pointer
  std::uint64_t result_ = 0;
};

}  // namespace platform

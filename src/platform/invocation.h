#pragma once

#include <memory>
#include <optional>

#include "platform/objc.h"

namespace platform {

/// A message as an object: arguments by index, where the receiver is 0, the selector 1 and the first real argument 2.
class Invocation {
 public:
  /// By the type encoding of the method to call; nothing for a null or malformed encoding.
  static std::optional<Invocation> invocationWithObjCTypes(const char* types);

  void setTarget(id target);
  void setSelector(SEL selector);
  /// Copies the argument that `location` points at, of the size its encoding says. Objects are not retained.
  /// An index outside the encoding raises NSInvalidArgumentException.
  void setArgument(const void* location, std::size_t index);
  /// Sends the message; a null target does nothing.
  void invoke();
  void getReturnValue(void* location) const;

 private:
  struct State;
  explicit Invocation(std::shared_ptr<State> state) : state_(std::move(state)) {}
  std::shared_ptr<State> state_;
};

}  // namespace platform

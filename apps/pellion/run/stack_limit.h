#pragma once

namespace pellion {

/// Limits the depth of calls in its scope, on its thread. On the platform, endless recursion overflows the stack and
/// ends the application. Here code that can be part of such a recursion calls check(), which detects it in time.
class StackLimit {
 public:
  StackLimit();
  StackLimit(const StackLimit&) = delete;
  StackLimit& operator=(const StackLimit&) = delete;
  ~StackLimit();

  /// Throws host::ProgrammingError when the limit is reached.
  static void check();

 private:
  const char* previous_;
};

}  // namespace pellion

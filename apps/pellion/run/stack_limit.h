#pragma once

namespace pellion {

/// How deep calls may go in its scope, on its thread. On the platform an application whose calls have no end overflows
/// its stack and is ended; here whoever is on the way of such calls finds that out in time.
class StackLimit {
 public:
  StackLimit();
  StackLimit(const StackLimit&) = delete;
  StackLimit& operator=(const StackLimit&) = delete;
  ~StackLimit();

  /// Throws host::ProgrammingError when it is reached.
  static void check();

 private:
  const char* previous_;
};

}  // namespace pellion

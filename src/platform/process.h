#pragma once

#include <type_traits>

// What the platform calls process-wide: shared instances, once-guards, file-level statics. Nothing of the module lives
// in a C++ global; it lives here, and a new process (a new launch of a phone) starts without it.
namespace platform::Process {

/// The slot named by the address `key` in the current process, made by `make` on the first call under a once-only
/// guard and ended by `destroy` with the process, the last made first. Safe from any thread; `make` may ask for other
/// slots. What holds no objects `outlivesObjects`: it ends after everything that does. One that is asked for again
/// after its end is made anew. Having no current process on this thread is a programming error.
void* slot(const void* key, void* (*make)(), void (*destroy)(void*), bool outlivesObjects);

/// The one T of the current process, made with T() on the first call.
template <class T>
T& shared() {
  static constexpr char key = 0;
  return *static_cast<T*>(slot(
      &key, [] { return static_cast<void*>(new T()); }, [](void* object) { delete static_cast<T*>(object); },
      std::is_trivially_destructible_v<T>));
}

}  // namespace platform::Process

#pragma once

#include <type_traits>

// What the platform calls process-wide: shared instances, once-guards, file-level statics. The module keeps none of
// this state in C++ globals. It is kept here, so a new process (a new launch of a phone) starts without it.
namespace platform::Process {

/// Returns the slot that the address `key` names in the current process. `make` makes it on the first call, under a
/// once-only guard; `destroy` ends it with the process, the last made first. Any thread; `make` may use other slots.
/// A slot that holds no objects `outlivesObjects`: it ends after all slots that hold some. A slot that is used after
/// its end is made again. A call on a thread without a current process is a programming error.
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

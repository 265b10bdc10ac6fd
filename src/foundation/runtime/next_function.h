#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace foundation {

/// Returns the function of this name in the libraries behind this one: the runtime's own.
template <class F>
F nextFunction(const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    std::fprintf(stderr, "PellionFoundation finds no %s behind it: link it before libobjc\n", name);
    std::abort();
  }
  return reinterpret_cast<F>(found);
}

}  // namespace foundation

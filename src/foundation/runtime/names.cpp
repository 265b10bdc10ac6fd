// Slow in GCC's libobjc: finding selectors and classes by name, which hashes the name under the runtime's lock. The
// module does it in every callback, with names that are constants. So a thread remembers the results by the address of
// the name, and compares the text, because another text may come to stand at that address. Not needed for any
// behaviour.

#include <cstring>

#include "foundation/objc/direct_mapped.h"
#include "foundation/runtime/next_function.h"
#include "platform/objc.h"

namespace foundation {
namespace {

/// Finds handles that, with their names, exist as long as the program.
template <class Handle, const char* (*nameOf)(Handle)>
class Remembered {
 public:
  template <class Search>
  Handle find(const char* name, Search search) {
    Known& known = all_.placeOf(name);
    if (known.handle != nullptr && std::strcmp(known.name, name) == 0) return known.handle;
    const Handle found = search(name);
    if (found != nullptr) known = {nameOf(found), found};
    return found;
  }

 private:
  struct Known {
    const char* name;
    Handle handle;
  };
  DirectMapped<Known, 256> all_;
};

}  // namespace
}  // namespace foundation

extern "C" {

SEL sel_registerName(const char* name) {
  static const auto next = foundation::nextFunction<decltype(&sel_registerName)>("sel_registerName");
  thread_local foundation::Remembered<SEL, &sel_getName> remembered;
  return name != nullptr ? remembered.find(name, next) : next(name);
}

Class objc_getClass(const char* name) {
  static const auto next = foundation::nextFunction<decltype(&objc_getClass)>("objc_getClass");
  thread_local foundation::Remembered<Class, &class_getName> remembered;
  return name != nullptr ? remembered.find(name, next) : next(name);
}

}  // extern "C"

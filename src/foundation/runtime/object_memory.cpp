// Repairs: making objects by the C function, on GCC's libobjc with GNUstep Base. The runtime's class_createInstance
// gives memory without the reference count that Foundation keeps in front of every object, so `retain` would write into
// the allocator's own data. The extra bytes begin where the variables end, aligned or not; here they are aligned for
// any type. Not needed where runtime and Foundation agree (libobjc2, a phone).

#include "foundation/runtime/interposition.h"
#include "foundation/runtime/objects.h"

namespace {

std::size_t alignedSize(Class cls) {
  constexpr std::size_t alignment = alignof(std::max_align_t);
  return (class_getInstanceSize(cls) + alignment - 1) / alignment * alignment;
}

}  // namespace

foundation::Names foundation::objectMemoryFunctions() {
  static constexpr const char* names[] = {"class_createInstance", "object_getIndexedIvars"};
  return names;
}

extern "C" {

Class object_getClass(id object) { return object != nullptr ? *reinterpret_cast<Class*>(object) : nullptr; }

id class_createInstance(Class cls, std::size_t extraBytes) {
  if (cls == nullptr) return nullptr;
  return foundation_allocate(cls, alignedSize(cls) - class_getInstanceSize(cls) + extraBytes);
}

void* object_getIndexedIvars(id object) {
  return object != nullptr ? reinterpret_cast<char*>(object) + alignedSize(object_getClass(object)) : nullptr;
}

}  // extern "C"

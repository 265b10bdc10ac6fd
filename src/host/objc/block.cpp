#include "platform/block.h"

#include "host/objc/objc_runtime.h"
#include "host/objc/programming_error.h"
#include "platform/class_face.h"

// A block's object: its class, its code, the function that destroys its captured state, and that state.

namespace {

struct alignas(std::max_align_t) BlockLayout {
  objc_object object;
  IMP invoke;
  void (*dispose)(void* state);
};

BlockLayout& layoutOf(id block) { return *reinterpret_cast<BlockLayout*>(block); }

void dealloc(id self, SEL) {
  if (const auto dispose = layoutOf(self).dispose) dispose(platform::blockState(self));
  host::disposeObject(self);
}

id copyWithZone(id self, SEL, void*) { return objc_retain(self); }

}  // namespace

namespace host {

void defineBlockClasses(Runtime& runtime) {
  const Class base = runtime.allocateClassPair(runtime.object, "NSBlock");
  runtime.registerClassPair(base);
  runtime.block = runtime.allocateClassPair(base, "__NSMallocBlock__");
  class_addIvar(runtime.block, "_layout", sizeof(BlockLayout) - sizeof(objc_object), 3, "?");
  platform::ClassFace<BlockLayout>(runtime.block).method<dealloc>("dealloc").method<copyWithZone>("copyWithZone:");
  runtime.registerClassPair(runtime.block);
}

}  // namespace host

namespace platform {

id blockCreate(IMP invoke, std::size_t size, void (*dispose)(void* state)) {
  const id block = class_createInstance(host::Runtime::current().block, size);
  layoutOf(block).invoke = invoke;
  layoutOf(block).dispose = dispose;
  return block;
}

IMP blockInvoke(id block) {
  if (block == nullptr) throw host::ProgrammingError("a null block was called");
  return layoutOf(block).invoke;
}

void* blockState(id block) { return &layoutOf(block) + 1; }

id blockCopy(id block) { return objc_retain(block); }  // all blocks are made on the heap

void blockRelease(id block) { objc_release(block); }

}  // namespace platform

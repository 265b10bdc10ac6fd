#include <cstdio>

#include "host/objc/objc_runtime.h"

// A thread's pools are one stack of objects; a null marks the start of a pool.

namespace {

thread_local std::vector<id> pools;

}  // namespace

id objc_autorelease(id object) {
  if (object == nullptr) return nullptr;
  if (!pools.empty()) {
    pools.push_back(object);
  } else {  // as on the platform: without a pool, no code will ever release it
    std::fprintf(stderr, "object %p of class %s autoreleased with no pool in place: just leaking\n",
                 static_cast<void*>(object), class_getName(object_getClass(object)));
  }
  return object;
}

void* objc_autoreleasePoolPush() {
  pools.push_back(nullptr);
  return reinterpret_cast<void*>(pools.size());
}

void objc_autoreleasePoolPop(void* pool) {
  const auto size = reinterpret_cast<std::uintptr_t>(pool);
  while (pools.size() > size) {  // releasing may autorelease more
    const id object = pools.back();
    pools.pop_back();
    objc_release(object);
  }
  if (pools.size() == size) pools.pop_back();
}

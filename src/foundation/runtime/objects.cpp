// Lacking in GCC's libobjc: the functions of ownership. Here they are Foundation's methods. Not needed where the
// runtime counts references itself (libobjc2, a phone).

#include "foundation/runtime/objects.h"

#include "foundation/runtime/class_layout.h"

extern "C" {

id NSAllocateObject(Class cls, std::size_t extraBytes, void* zone);  // extraBytes is Foundation's NSUInteger

}  // extern "C"

namespace {

template <class R>
R message(id receiver, SEL selector) {
  return reinterpret_cast<R (*)(id, SEL)>(objc_msg_lookup(receiver, selector))(receiver, selector);
}

}  // namespace

id foundation_allocate(Class cls, std::size_t extraBytes) { return NSAllocateObject(cls, extraBytes, nullptr); }

id foundation_copy(id object) {
  static const SEL selector = sel_registerName("copy");
  return object != nullptr ? message<id>(object, selector) : nullptr;
}

void foundation_sendDealloc(id object) {
  static const SEL selector = sel_registerName("dealloc");
  message<void>(object, selector);
}

extern "C" {

id objc_retain(id object) {
  static const SEL selector = sel_registerName("retain");
  return object != nullptr ? message<id>(object, selector) : nullptr;
}

void objc_release(id object) {
  static const SEL selector = sel_registerName("release");
  if (object != nullptr) message<void>(object, selector);
}

id objc_autorelease(id object) {
  static const SEL selector = sel_registerName("autorelease");
  return object != nullptr ? message<id>(object, selector) : nullptr;
}

void* objc_autoreleasePoolPush() {
  static const id cls = reinterpret_cast<id>(objc_getClass("NSAutoreleasePool"));
  static const SEL selector = sel_registerName("new");
  foundation_registerThread();
  return message<id>(cls, selector);
}

void objc_autoreleasePoolPop(void* pool) {
  static const SEL selector = sel_registerName("drain");
  message<void>(static_cast<id>(pool), selector);
}

}  // extern "C"

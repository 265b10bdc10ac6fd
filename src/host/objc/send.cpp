#include "platform/send.h"

#include <string>

#include "host/objc/objc_runtime.h"
#include "value/type_encoding.h"

namespace host {
namespace {

/// A method added without an encoding accepts every call.
bool fits(const char* call, const char* declared) {
  if (declared == nullptr || std::string_view(call) == declared) return true;
  const auto letters = value::typeLetters(call);
  return letters && letters == value::typeLetters(declared);
}

void accept(objc_method& method, const char* types) {
  const std::lock_guard lock(method.owner->runtime->mutex());
  if (method_getImplementation(&method) == forwardingMarker()) return;
  method.acceptedTypes.store(types, std::memory_order_release);
}

// For the first call of a method from one place, a full cache, and a missing method.
[[gnu::noinline]] platform::MethodCall resolveCall(id receiver, SEL selector, const char* types) {
  for (int hop = 0; hop < longestForwarding; ++hop) {
    const Method method = methodOrResolved(object_getClass(receiver), selector);
    const IMP implementation = method_getImplementation(method);
    if (method != nullptr && implementation != forwardingMarker()) {
      if (method->acceptedTypes.load(std::memory_order_acquire) != types) {
        if (!fits(types, method->types)) raiseOtherTypes(receiver, selector, types, method->types);
        accept(*method, types);
      }
      return {receiver, implementation};
    }
    const id target = forwardingTarget(receiver, selector);
    if (target == nullptr) return forwardedCall(receiver, types);
    receiver = target;
  }
  raiseUnrecognized(receiver, selector);
}

}  // namespace

void raiseOtherTypes(id receiver, SEL selector, const char* call, const char* declared) {
  const Class cls = object_getClass(receiver);
  value::raiseOtherTypes(class_getName(cls), selector->name.c_str(), class_isMetaClass(cls), call, declared);
}

}  // namespace host

namespace platform {

MethodCall methodForCall(id receiver, SEL selector, const char* types) {
  const Class cls = receiver->isa.load(std::memory_order_acquire);
  host::MethodCache& cache = *cls->cache.load(std::memory_order_acquire);
  const Method method = cache.places()[selector->place & cache.mask].load(std::memory_order_acquire);
  if (method != nullptr && method->name == selector) [[likely]] {
    const IMP implementation = method->implementation.load(std::memory_order_acquire);
    if (method->acceptedTypes.load(std::memory_order_relaxed) == types) [[likely]]
      return {receiver, implementation};
  }
  return host::resolveCall(receiver, selector, types);
}

SEL uniqueSelector(SEL selector) { return selector; }  // names are interned, so there is one

void raiseToCaller(const std::exception& /*exception*/) { throw; }  // callers are C++ too

}  // namespace platform

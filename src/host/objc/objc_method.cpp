#include "host/objc/objc_runtime.h"

namespace {

// With the runtime's mutex held. The marker never has an accepted encoding, so that send() falls back to forwarding.
// Readers load the implementation first, so they never see the marker with an accepted encoding.
IMP replaceImplementation(objc_method& method, IMP implementation) {
  if (implementation == host::forwardingMarker()) method.acceptedTypes.store(nullptr, std::memory_order_release);
  return method.implementation.exchange(implementation, std::memory_order_acq_rel);
}

bool hasMethod(Class cls, SEL selector) {
  for (Method each = cls->methods; each != nullptr; each = each->next) {
    if (each->name == selector) return true;
  }
  return cls->declared && cls->declared->find(selector) != nullptr;
}

void addMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  const host::DeclaredMethod method{selector, implementation, types == nullptr ? nullptr : host::interned(types)};
  if (cls->isRegistered) {
    cls->runtime->makeMethod(cls, method);
  } else {
    if (!cls->declared) cls->declared = std::make_shared<host::MethodList>();
    cls->declared->add(method);
  }
  host::emptyMethodCaches(cls);
}

}  // namespace

Method class_getInstanceMethod(Class cls, SEL selector) {
  return cls == nullptr || selector == nullptr ? nullptr : host::methodOrResolved(cls, selector);
}

Method class_getClassMethod(Class cls, SEL selector) {
  return cls == nullptr ? nullptr : class_getInstanceMethod(cls->isa, selector);
}

IMP class_getMethodImplementation(Class cls, SEL selector) {
  if (cls == nullptr || selector == nullptr) return nullptr;
  const Method method = host::methodOrResolved(cls, selector);
  return method == nullptr ? host::forwardingMarker() : method_getImplementation(method);
}

bool class_respondsToSelector(Class cls, SEL selector) { return class_getInstanceMethod(cls, selector) != nullptr; }

bool class_addMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  if (cls == nullptr || selector == nullptr || implementation == nullptr) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  if (hasMethod(cls, selector)) return false;
  addMethod(cls, selector, implementation, types);
  return true;
}

IMP class_replaceMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  if (cls == nullptr || selector == nullptr || implementation == nullptr) return nullptr;
  const std::lock_guard lock(cls->runtime->mutex());
  if (const Method own = host::ownMethod(cls, selector)) return replaceImplementation(*own, implementation);
  addMethod(cls, selector, implementation, types);
  return nullptr;
}

SEL method_getName(Method method) { return method == nullptr ? nullptr : method->name; }

IMP method_getImplementation(Method method) {
  return method == nullptr ? nullptr : method->implementation.load(std::memory_order_acquire);
}

const char* method_getTypeEncoding(Method method) { return method == nullptr ? nullptr : method->types; }

IMP method_setImplementation(Method method, IMP implementation) {
  if (method == nullptr || implementation == nullptr) return nullptr;
  const std::lock_guard lock(method->owner->runtime->mutex());
  return replaceImplementation(*method, implementation);
}

void method_exchangeImplementations(Method first, Method second) {
  if (first == nullptr || second == nullptr) return;
  const std::lock_guard lock(first->owner->runtime->mutex());
  replaceImplementation(*second, replaceImplementation(*first, method_getImplementation(second)));
}

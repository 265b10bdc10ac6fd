#pragma once

#include "host/objc/objc_runtime.h"
#include "platform/class_face.h"

namespace host {

/// The T of an object of the host's own classes: its first variable, directly after the class pointer.
template <class T>
T& variableOf(id object) {
  return *reinterpret_cast<T*>(object + 1);
}

template <class T>
void deallocVariable(id self, SEL) {
  variableOf<T>(self).~T();
  disposeObject(self);
}

/// Reserves room in a class's instances for a T, which dealloc destroys. The code that makes an instance constructs it.
template <class T>
void addVariable(Class cls) {
  class_addIvar(cls, "_state", sizeof(T), 3, "?");
  platform::ClassFace<T>(cls).template method<deallocVariable<T>>("dealloc");
}

}  // namespace host

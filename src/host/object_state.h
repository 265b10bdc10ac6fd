#pragma once

#include "host/objc_runtime.h"
#include "platform/class_face.h"

namespace host {

template <class T>
void deallocState(id self, SEL) {
  platform::objectState<T>(self).~T();
  disposeObject(self);
}

/// Makes room in a class's instances for a T, which dealloc ends. Whoever makes an instance constructs it.
template <class T>
void addState(Class cls) {
  class_addIvar(cls, "_state", sizeof(T), 3, "?");
  platform::ClassFace<T>(cls).template method<deallocState<T>>("dealloc");
}

}  // namespace host

#pragma once

#include <new>
#include <string>
#include <utility>

#include "platform/objc.h"
#include "platform/process.h"
#include "platform/programming_error.h"
#include "platform/reference.h"
#include "platform/send.h"

// A C++ class gets a runtime face, so that it can be an observer, an interceptor or a donor, by saying its name and
// its methods once:
//
//   class Listener {
//    public:
//     static constexpr const char* className = "Listener";
//     static void defineClass(platform::ClassFace<Listener>& face) {
//       face.method<&Listener::heard>("heard:").conformsTo("Listening");
//     }
//     void heard(id notification);
//   };
//   platform::Strong listener = platform::makeObject<Listener>();
//
// The C++ object lives inside the runtime object, right behind its class pointer; releasing the last reference
// destroys both. A subclass on both sides (`class B : public A`, superclassName = A::className) shares that place.

namespace platform {

template <class T>
T& objectState(id object) {
  return *reinterpret_cast<T*>(reinterpret_cast<char*>(object) + sizeof(Class));
}

/// The runtime object around a C++ object that makeObject made.
template <class T>
id objectOf(const T& state) {
  return reinterpret_cast<id>(reinterpret_cast<char*>(const_cast<T*>(&state)) - sizeof(Class));
}

template <class T>
class ClassFace {
 public:
  explicit ClassFace(Class cls) : cls_(cls) {}

  /// An instance method, given as a member function of T or as a plain function `R (id, SEL, A...)`.
  template <auto Function>
  ClassFace& method(const char* selector) {
    return add(cls_, selector, thunk<Function>(Function));
  }
  /// A class method, given as a static member function `R (A...)` or as a plain function `R (id, SEL, A...)`.
  template <auto Function>
  ClassFace& classMethod(const char* selector) {
    return add(object_getClass(classObject(cls_)), selector, thunk<Function>(Function));
  }
  ClassFace& conformsTo(const char* protocol) {
    class_addProtocol(cls_, objc_getProtocol(protocol));
    return *this;
  }

 private:
  template <auto Member, class C, class R, class... A>
  static auto thunk(R (C::*)(A...)) {
    return +[](id self, SEL, A... args) -> R { return (objectState<T>(self).*Member)(args...); };
  }
  template <auto Member, class C, class R, class... A>
  static auto thunk(R (C::*)(A...) const) {
    return +[](id self, SEL, A... args) -> R { return (objectState<T>(self).*Member)(args...); };
  }
  template <auto Function, class R, class... A>
  static auto thunk(R (*function)(id, SEL, A...)) {
    return function;
  }
  template <auto Function, class R, class... A>
  static auto thunk(R (*)(A...)) {
    return +[](id, SEL, A... args) -> R { return Function(args...); };
  }
  template <class F>
  ClassFace& add(Class cls, const char* selector, F function) {
    class_addMethod(cls, sel_registerName(selector), implementationOf(function), encodingOfFunction(function));
    return *this;
  }

  Class cls_;
};

template <class T>
consteval const char* superclassNameOf() {
  if constexpr (requires { T::superclassName; }) {
    return T::superclassName;
  } else {
    return "NSObject";
  }
}

/// Registers T's runtime class with the current process; classOf keeps the answer.
template <class T>
struct RegisteredClass {
  RegisteredClass() {
    static_assert(alignof(T) <= alignof(Class));
    const Class superclass = objc_getClass(superclassNameOf<T>());
    cls = objc_allocateClassPair(superclass, T::className, 0);
    if (cls == nullptr) programmingError(std::string("the name of the class ") + T::className + " is already taken");
    const std::size_t inherited = class_getInstanceSize(superclass) - sizeof(Class);
    if (sizeof(T) > inherited) class_addIvar(cls, "_state", sizeof(T) - inherited, 3, "?");
    constexpr auto dealloc = +[](id self, SEL selector) {
      objectState<T>(self).~T();
      const IMP plain = class_getMethodImplementation(objc_getClass("NSObject"), selector);
      reinterpret_cast<void (*)(id, SEL)>(plain)(self, selector);
    };
    class_addMethod(cls, sel_registerName("dealloc"), implementationOf(dealloc), encodingOfFunction(dealloc));
    ClassFace<T> face(cls);
    T::defineClass(face);
    objc_registerClassPair(cls);
  }
  Class cls;
};

template <class T>
Class classOf() {
  return Process::shared<RegisteredClass<T>>().cls;
}

/// A new runtime object holding a T.
template <class T, class... Args>
Strong makeObject(Args&&... args) {
  Strong object = Strong::adopt(class_createInstance(classOf<T>(), 0));
  new (&objectState<T>(object.get())) T(std::forward<Args>(args)...);
  return object;
}

/// Holds the one T of a process: `Process::shared<Singleton<T>>().get()`.
template <class T>
class Singleton {
 public:
  Singleton() : object_(makeObject<T>()) {}
  [[nodiscard]] T& get() const { return objectState<T>(object_.get()); }

 private:
  Strong object_;
};

}  // namespace platform

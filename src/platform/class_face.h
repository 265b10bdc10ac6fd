#pragma once

#include <new>
#include <string>
#include <utility>

#include "platform/objc.h"
#include "platform/process.h"
#include "platform/programming_error.h"
#include "platform/reference.h"
#include "platform/send.h"

// A C++ class gets a runtime class, its face, so that its objects can be observers, interceptors or donors. It states
// the name and the methods of the runtime class once:
//
//   class Listener {
//    public:
//     static constexpr const char* className = "Listener";
//     static void defineClass(platform::ClassFace<Listener>& face) {
//       face.method<&Listener::receive>("receive:").conformsTo("Listening");
//     }
//     void receive(id notification);
//   };
//   platform::Strong listener = platform::makeObject<Listener>();
//
// The C++ object lives in the extra bytes of the runtime object; releasing the last reference destroys both. A member
// `void dealloc()` runs before that, except for the shared instance of a process (Singleton): a process ends without
// teardown.

namespace platform {

/// The header before the C++ state in an object's extra bytes.
struct StateHeader {
  id object;
  void (*end)(void* state);  ///< null until the state is constructed
};

inline StateHeader& stateHeader(id object) { return *static_cast<StateHeader*>(object_getIndexedIvars(object)); }

template <class T>
T& objectState(id object) {
  return *reinterpret_cast<T*>(&stateHeader(object) + 1);
}

/// Returns the runtime object that holds `state`, a C++ object that makeObject made.
template <class T>
id objectOf(const T& state) {
  return reinterpret_cast<const StateHeader*>(&state)[-1].object;
}

template <class... A>
inline constexpr bool isMethodSignature = false;
template <class... A>
inline constexpr bool isMethodSignature<id, SEL, A...> = true;

/// The entry point of a method of T: of a member function, a static one, or a plain function `R (id, SEL, A...)`.
template <class T, auto Function>
struct FaceEntry;
template <class T, class C, class R, class... A, R (C::*Member)(A...)>
struct FaceEntry<T, Member> {
  static R code(id self, SEL, A... args) {
    return enter([&]() -> R { return (objectState<T>(self).*Member)(args...); });
  }
};
template <class T, class C, class R, class... A, R (C::*Member)(A...) const>
struct FaceEntry<T, Member> {
  static R code(id self, SEL, A... args) {
    return enter([&]() -> R { return (objectState<T>(self).*Member)(args...); });
  }
};
template <class T, class R, class... A, R (*Function)(A...)>
requires(isMethodSignature<A...>) struct FaceEntry<T, Function> : MethodEntry<Function> {
};
template <class T, class R, class... A, R (*Function)(A...)>
requires(!isMethodSignature<A...>) struct FaceEntry<T, Function> {
  static R code(id, SEL, A... args) {
    return enter([&]() -> R { return Function(args...); });
  }
};

template <class T>
class ClassFace {
 public:
  explicit ClassFace(Class cls) : cls_(cls) {}

  /// Adds an instance method, given as a member function of T or as a plain function `R (id, SEL, A...)`.
  template <auto Function>
  ClassFace& method(const char* selector) {
    return add(cls_, selector, &FaceEntry<T, Function>::code);
  }
  /// Adds a class method, given as a static member function `R (A...)` or as a plain function `R (id, SEL, A...)`.
  template <auto Function>
  ClassFace& classMethod(const char* selector) {
    return add(object_getClass(classObject(cls_)), selector, &FaceEntry<T, Function>::code);
  }
  ClassFace& conformsTo(const char* protocol) {
    class_addProtocol(cls_, objc_getProtocol(protocol));
    return *this;
  }

 private:
  template <class R, class... A>
  ClassFace& add(Class cls, const char* selector, R (*entry)(id, SEL, A...)) {
    class_addMethod(cls, sel_registerName(selector), reinterpret_cast<IMP>(entry), encodingOfFunction(entry));
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

/// Implemented by the backend. Returns the class of this name that the program declares in the runtime's own language,
/// without variables, and whose methods are still missing; null when there is none.
Class classToComplete(const char* name);

/// Registers T's runtime class with the current process, or adds the methods to the class that classToComplete returns.
/// classOf keeps the result. A name that another class has is a programming error.
template <class T>
struct RegisteredClass {
  RegisteredClass() : cls(classToComplete(T::className)) {
    const bool isNew = cls == nullptr;
    if (isNew) cls = objc_allocateClassPair(objc_getClass(superclassNameOf<T>()), T::className, 0);
    if (cls == nullptr) programmingError(std::string("the name of the class ") + T::className + " is already taken");
    ClassFace<T> face(cls);
    face.template method<&RegisteredClass::dealloc>("dealloc");
    face.template classMethod<&RegisteredClass::alloc>("alloc");
    face.template classMethod<&RegisteredClass::allocWithZone>("allocWithZone:");
    T::defineClass(face);
    if (isNew) objc_registerClassPair(cls);
  }
  Class cls;

 private:
  static void dealloc(id self, SEL selector);
  /// Only makeObject constructs the state.
  static id alloc(id /*self*/, SEL selector) {
    throw Exception(invalidArgumentException,
                    std::string("+[") + T::className + " " + sel_getName(selector) + "]: instances are made in C++");
  }
  static id allocWithZone(id self, SEL selector, void* /*zone*/) { return alloc(self, selector); }
};

template <class T>
Class classOf() {
  return Process::shared<RegisteredClass<T>>().cls;
}

template <class T>
void RegisteredClass<T>::dealloc(id self, SEL selector) {
  if (auto* end = std::exchange(stateHeader(self).end, nullptr)) end(&objectState<T>(self));
  const IMP inherited = class_getMethodImplementation(class_getSuperclass(classOf<T>()), selector);
  callImplementation<void()>(inherited, self, selector);
}

template <class T>
void destroyState(void* state) {
  static_cast<T*>(state)->~T();
}
template <class T>
void deallocState(void* state) {
  if constexpr (requires(T & t) { t.dealloc(); }) static_cast<T*>(state)->dealloc();
  destroyState<T>(state);
}

/// Makes an object of T's class or of a subclass; `end` destroys its state.
template <class T, class... Args>
Strong makeObjectOfClass(Class cls, void (*end)(void*), Args&&... args) {
  static_assert(alignof(T) <= alignof(StateHeader));
  Strong object = Strong::adopt(class_createInstance(cls, sizeof(StateHeader) + sizeof(T)));
  StateHeader& header = stateHeader(object.get());
  header.object = object.get();
  new (&objectState<T>(object.get())) T(std::forward<Args>(args)...);
  header.end = end;
  return object;
}

/// Makes a runtime object that holds a T.
template <class T, class... Args>
Strong makeObject(Args&&... args) {
  return makeObjectOfClass<T>(classOf<T>(), &deallocState<T>, std::forward<Args>(args)...);
}

/// Holds the one T of a process: `Process::shared<Singleton<T>>().get()`.
template <class T>
class Singleton {
 public:
  Singleton() : object_(makeObjectOfClass<T>(classOf<T>(), &destroyState<T>)) {}
  [[nodiscard]] T& get() const { return objectState<T>(object_.get()); }

 private:
  Strong object_;
};

}  // namespace platform

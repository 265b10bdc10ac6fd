#pragma once

#include <string>
#include <vector>

#include "platform/class_face.h"
#include "platform/text.h"
#include "platform/value.h"
#include "tests/support/raised.h"

namespace test {

inline SEL sel(const char* name) { return sel_registerName(name); }

/// A class made at run time and registered, whose methods a test adds as plain functions.
inline Class makeClass(const char* name, Class superclass = objc_getClass("NSObject")) {
  const Class cls = objc_allocateClassPair(superclass, name, 0);
  objc_registerClassPair(cls);
  return cls;
}
/// A method's code as it is: it raises nothing, and its selector may be another one of the same name.
template <class R, class... A>
IMP codeOf(R (*function)(id, SEL, A...)) {
  return reinterpret_cast<IMP>(function);
}
template <class R, class... A>
bool addMethod(Class cls, const char* selector, R (*code)(id, SEL, A...)) {
  return class_addMethod(cls, sel(selector), codeOf(code), platform::encodingOfFunction(code));
}
/// The same for a method that raises, or that compares its selector.
template <auto Function>
bool addMethod(Class cls, const char* selector) {
  return class_addMethod(cls, sel(selector), platform::implementationOf<Function>(),
                         platform::encodingOfFunction(Function));
}
inline platform::Strong makeInstance(Class cls) { return platform::Strong::adopt(class_createInstance(cls, 0)); }

/// A method that returns a number, for any receiver.
template <int number>
int answer(id, SEL) {
  return number;
}
/// A method that returns true for any argument, as `isEqual:` and `respondsToSelector:` may.
template <class A>
bool agree(id, SEL, A) {
  return true;
}
inline int ask(id object, const char* selector = "answer") { return platform::send<int()>(object, sel(selector)); }

/// An object that counts its destruction.
class Mortal {
 public:
  static constexpr const char* className = "Mortal";
  static void defineClass(platform::ClassFace<Mortal>&) {}
  explicit Mortal(int* deaths, platform::Strong kept = {}) : deaths_(deaths), kept_(std::move(kept)) {}
  ~Mortal() { ++*deaths_; }

 private:
  int* deaths_;
  platform::Strong kept_;
};

inline std::string describe(id object) {
  return std::string(platform::unboxed(platform::send<id()>(object, sel("description")))->text());
}

}  // namespace test

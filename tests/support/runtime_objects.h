#pragma once

#include <string>
#include <vector>

#include "host/objc/runtime_functions.h"
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
template <class R, class... A>
bool addMethod(Class cls, const char* selector, R (*code)(id, SEL, A...)) {
  return class_addMethod(cls, sel(selector), host::implementationOf(code), platform::encodingOfFunction(code));
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

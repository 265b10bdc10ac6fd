// Repairs: the code that class_getMethodImplementation returns for a method that the class lacks. GCC's libobjc returns
// code that must not be called and that depends on the selector; the platform returns one marker, which forwards the
// message when it is called. Here the marker is foundation_forward, one assembly file for each architecture. Not needed
// where a runtime has such a marker (libobjc2, a phone).

#include "foundation/objc/handles.h"
#include "foundation/runtime/interposition.h"

foundation::Names foundation::forwardingFunctions() {
  static constexpr const char* names[] = {"class_getMethodImplementation"};
  return names;
}

extern "C" {

void foundation_forward();
SEL sel_registerTypedName(const char* name, const char* types);
const char* sel_getTypeEncoding(SEL selector);
extern IMP (*__objc_msg_forward2)(id, SEL);  // NOLINT(bugprone-reserved-identifier): the runtime's; Foundation sets it

/// Foundation forwards by the types of the selector, so an untyped one gets those that the receiver's class declares.
IMP foundation_forwardingCode(id self, SEL selector) {
  const Method method = class_getInstanceMethod(object_getClass(self), selector);
  const char* types = method != nullptr ? method_getTypeEncoding(method) : sel_getTypeEncoding(selector);
  return __objc_msg_forward2(self, types != nullptr ? sel_registerTypedName(sel_getName(selector), types) : selector);
}

IMP class_getMethodImplementation(Class cls, SEL selector) {
  if (cls == nullptr) return nullptr;
  const Method method = class_getInstanceMethod(cls, selector);
  return method != nullptr ? method_getImplementation(method) : &foundation_forward;
}

}  // extern "C"

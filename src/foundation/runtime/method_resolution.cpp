// Repairs: methods that a class adds in +resolveInstanceMethod: or +resolveClassMethod:, on GCC's libobjc. A look-up
// asks the class only if it has received a message before. So a look-up that finds nothing sends it one, and looks
// again. Not needed on libobjc2 and on a phone.

#include "foundation/objc/runtime_functions.h"
#include "foundation/runtime/class_layout.h"
#include "foundation/runtime/interposition.h"
#include "foundation/runtime/next_function.h"

namespace foundation {
namespace {

using LookUp = Method (*)(Class, SEL);

Method find(LookUp lookUp, Class cls, SEL selector) {
  if (cls == nullptr || selector == nullptr) return nullptr;
  if (const Method found = lookUp(cls, selector)) return found;
  if (class_isMetaClass(cls) || (layoutOf(cls).info & isResolved) == 0) return nullptr;
  static const SEL anyMessage = sel_registerName("self");
  objc_msg_lookup(reinterpret_cast<id>(cls), anyMessage);
  return lookUp(cls, selector);
}

}  // namespace

Names resolutionFunctions() {
  static constexpr const char* names[] = {"class_getInstanceMethod", "class_getClassMethod"};
  return names;
}

}  // namespace foundation

extern "C" {

Method class_getInstanceMethod(Class cls, SEL selector) {
  static const auto next = foundation::nextFunction<foundation::LookUp>("class_getInstanceMethod");
  return foundation::find(next, cls, selector);
}

Method class_getClassMethod(Class cls, SEL selector) {
  static const auto next = foundation::nextFunction<foundation::LookUp>("class_getClassMethod");
  return foundation::find(next, cls, selector);
}

}  // extern "C"

// Repairs: methods added, replaced and exchanged, on GCC's libobjc. The runtime updates the dispatch table of the class
// that declares the method, and not always those of its subclasses; and it takes a metaclass that clang compiled for
// one that is still being made, so a method added there is never found. Not needed on libobjc2 and on a phone.

#include <string_view>
#include <vector>

#include "foundation/objc/required_repairs.h"
#include "foundation/runtime/class_layout.h"
#include "foundation/runtime/encodings.h"
#include "foundation/runtime/interposition.h"
#include "foundation/runtime/next_function.h"

extern "C" {

int objc_getClassList(Class* into, int room);
IMP class_replaceMethod(Class cls, SEL selector, IMP implementation, const char* types);
void __objc_update_dispatch_table_for_class(Class cls);  // NOLINT(bugprone-reserved-identifier)
int objc_mutex_lock(void* mutex);
int objc_mutex_unlock(void* mutex);
extern void* __objc_runtime_mutex;  // NOLINT(bugprone-reserved-identifier)

}  // extern "C"

namespace foundation {
namespace {

bool declares(Class cls, const MethodLayout* method) {
  for (const MethodList* list = layoutOf(cls).methods; list != nullptr; list = list->next) {
    if (method >= list->methods && method < list->methods + list->count) return true;
  }
  return false;
}

/// A Method does not say whose it is, so all classes are asked. By their lists, because a look-up of a method would
/// initialise the class.
Class declaringClass(Method method) {
  std::vector<Class> all(static_cast<std::size_t>(objc_getClassList(nullptr, 0)));
  all.resize(static_cast<std::size_t>(objc_getClassList(all.data(), static_cast<int>(all.size()))));
  const auto* layout = reinterpret_cast<const MethodLayout*>(method);
  for (const Class cls : all) {
    if (declares(cls, layout)) return cls;
    if (declares(layoutOf(cls).isa, layout)) return layoutOf(cls).isa;
  }
  return nullptr;
}

void methodChanged(Method method) {
  objc_mutex_lock(__objc_runtime_mutex);
  if (const Class cls = declaringClass(method)) __objc_update_dispatch_table_for_class(cls);
  objc_mutex_unlock(__objc_runtime_mutex);
}

/// In a class that the compiler made, the bit means something else.
void clearStaleConstruction(Class cls) {
  ClassLayout& layout = layoutOf(cls);
  if ((layout.info & isInConstruction) != 0 && (layout.info & isResolved) != 0) layout.info &= ~isInConstruction;
}

IMP setImplementation(Method method, IMP implementation) {
  static const auto next = nextFunction<decltype(&method_setImplementation)>("method_setImplementation");
  const IMP former = next(method, implementation);
  methodChanged(method);
  return former;
}

MethodLayout* ownMethod(Class cls, SEL selector) {
  for (MethodList* list = layoutOf(cls).methods; list != nullptr; list = list->next) {
    for (int i = 0; i < list->count; ++i) {
      if (std::string_view(sel_getName(list->methods[i].name)) == sel_getName(selector)) return &list->methods[i];
    }
  }
  return nullptr;
}

}  // namespace
}  // namespace foundation

foundation::Names foundation::dispatchTableFunctions() {
  static constexpr const char* names[] = {"class_addMethod", "class_replaceMethod", "method_exchangeImplementations",
                                          "method_setImplementation"};
  return names;
}

extern "C" {

IMP method_setImplementation(Method method, IMP implementation) {
  if (method == nullptr || implementation == nullptr) return nullptr;
  return foundation::setImplementation(method, implementation);
}

void method_exchangeImplementations(Method first, Method second) {
  if (first == nullptr || second == nullptr) return;
  static const auto next =
      foundation::nextFunction<decltype(&method_exchangeImplementations)>("method_exchangeImplementations");
  next(first, second);
  foundation::methodChanged(first);
  foundation::methodChanged(second);
}

/// A null encoding is accepted, as on the platform.
bool class_addMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  if (cls == nullptr || selector == nullptr || implementation == nullptr) return false;
  static const auto next = foundation::nextFunction<decltype(&class_addMethod)>("class_addMethod");
  foundation::clearStaleConstruction(cls);
  const char* readable =
      types != nullptr && *types != '\0' ? foundation_encodingWithoutBlocks(types) : FOUNDATION_ANY_ENCODING;
  return next(cls, selector, implementation, readable);
}

IMP class_replaceMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  if (cls == nullptr || selector == nullptr || implementation == nullptr) return nullptr;
  if (foundation::MethodLayout* own = foundation::ownMethod(cls, selector)) {
    return foundation::setImplementation(reinterpret_cast<Method>(own), implementation);
  }
  class_addMethod(cls, selector, implementation, types);
  return nullptr;
}

}  // extern "C"

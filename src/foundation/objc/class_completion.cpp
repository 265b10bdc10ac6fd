#include "platform/class_face.h"

#include <mutex>
#include <set>
#include <string>

#include "foundation/objc/runtime_functions.h"

Class platform::classToComplete(const char* name) {
  static auto& mutex = *new std::mutex;
  static auto& completed = *new std::set<Class>;
  const Class cls = objc_getClass(name);
  Protocol* const mark = objc_getProtocol("PLCompletedClass");  // completed_class.h
  if (cls == nullptr || mark == nullptr || !class_conformsToProtocol(cls, mark)) return nullptr;
  if (class_getInstanceSize(cls) != class_getInstanceSize(class_getSuperclass(cls))) {
    programmingError(std::string("the class ") + name + " is completed in C++, so it cannot declare variables");
  }
  const std::lock_guard lock(mutex);
  return completed.insert(cls).second ? cls : nullptr;
}

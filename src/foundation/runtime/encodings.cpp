// Repairs: type encodings that mention blocks, on GCC's libobjc. Its parser ends the program at "@?" ("unknown type
// ?"). Such encodings are rewritten where a method is added, and where Foundation makes a method signature, which one
// method of it does. Not needed on libobjc2 and on a phone.

#include "foundation/runtime/encodings.h"

#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace {

std::string withoutBlocks(std::string_view types) {
  std::string plain;
  while (!types.empty()) {
    plain += types.front();
    const bool isBlock = types.substr(0, 2) == "@?";
    types.remove_prefix(isBlock ? 2 : 1);
    if (!isBlock || types.substr(0, 1) != "<") continue;
    int depth = 0;
    do {
      depth += types.front() == '<' ? 1 : types.front() == '>' ? -1 : 0;
      types.remove_prefix(1);
    } while (depth > 0 && !types.empty());
  }
  return plain;
}

using MakeSignature = id (*)(id, SEL, const char*);
MakeSignature inheritedSignature;

id signatureWithObjCTypes(id self, SEL selector, const char* types) {
  const bool hasBlocks = types != nullptr && std::strstr(types, "@?") != nullptr;
  return inheritedSignature(self, selector, hasBlocks ? foundation_encodingWithoutBlocks(types) : types);
}

}  // namespace

// Encodings are few, so the rewritten ones are kept.
const char* foundation_encodingWithoutBlocks(const char* types) {
  static auto& mutex = *new std::mutex;
  static auto& kept = *new std::set<std::string>;
  if (types == nullptr) return nullptr;
  std::string plain = withoutBlocks(types);
  const std::lock_guard lock(mutex);
  return kept.insert(std::move(plain)).first->c_str();
}

void foundation_repairSignatures() {
  const Class meta = object_getClass(reinterpret_cast<id>(objc_getClass("NSMethodSignature")));
  const Method method = class_getInstanceMethod(meta, sel_registerName("signatureWithObjCTypes:"));
  inheritedSignature = reinterpret_cast<MakeSignature>(method_getImplementation(method));
  method_setImplementation(method, reinterpret_cast<IMP>(&signatureWithObjCTypes));
}

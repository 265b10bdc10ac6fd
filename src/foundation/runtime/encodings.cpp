// Repairs: type encodings that mention blocks, on GCC's libobjc. Its parser ends the program at "@?" ("unknown type
// ?"). Such encodings are rewritten where Foundation makes a method signature (method_signatures.m) and where a method
// is added. Not needed on libobjc2 and on a phone.

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

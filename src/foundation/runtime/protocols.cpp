// Repairs: descriptions of a protocol's methods, on GCC's libobjc. The runtime knows only required methods, and does
// not look into the protocols that a protocol adopts. Optional ones are read from what clang writes. Not needed on
// libobjc2 and on a phone.

#include <dlfcn.h>

#include <cstdint>
#include <cstring>

#include "foundation/objc/direct_mapped.h"
#include "foundation/runtime/class_layout.h"
#include "foundation/runtime/interposition.h"
#include "foundation/runtime/next_function.h"

namespace foundation {
namespace {

bool isMapped(const void* address) {
  Dl_info info;
  return address != nullptr && dladdr(address, &info) != 0;
}

/// False for a protocol that GCC compiled: it ends before these lists, and other data follows it in memory.
bool isList(const OptionalMethods* list) {
  constexpr int most = 1024;
  if (!isMapped(list) || reinterpret_cast<std::uintptr_t>(list) % alignof(OptionalMethods) != 0) return false;
  if (list->count < 0 || list->count > most) return false;
  for (int i = 0; i < list->count; ++i) {
    if (!isMapped(list->methods[i].name) || !isMapped(list->methods[i].types)) return false;
  }
  return true;
}

objc_method_description findOptional(const ProtocolLayout& protocol, SEL name, bool isInstance) {
  const OptionalMethods* list = isInstance ? protocol.optionalInstanceMethods : protocol.optionalClassMethods;
  if (!isList(list)) return {nullptr, nullptr};
  for (int i = 0; i < list->count; ++i) {
    if (std::strcmp(list->methods[i].name, sel_getName(name)) == 0) return {name, list->methods[i].types};
  }
  return {nullptr, nullptr};
}

objc_method_description findRequired(Protocol* protocol, SEL name, bool isInstance) {
  static const auto next = nextFunction<decltype(&protocol_getMethodDescription)>("protocol_getMethodDescription");
  return next(protocol, name, true, isInstance);
}

objc_method_description find(Protocol* protocol, SEL name, bool isRequired, bool isInstance) {
  const auto& layout = *reinterpret_cast<const ProtocolLayout*>(protocol);
  objc_method_description found =
      isRequired ? findRequired(protocol, name, isInstance) : findOptional(layout, name, isInstance);
  for (const auto* list = layout.adopted; list != nullptr && found.name == nullptr; list = list->next) {
    for (std::size_t i = 0; i < list->count && found.name == nullptr; ++i) {
      if (list->protocols[i] != nullptr) found = find(list->protocols[i], name, isRequired, isInstance);
    }
  }
  return found;
}

/// A thread's memory of what it has found: a protocol does not change once it is loaded, and asking the loader whose
/// memory a list is takes long.
struct Found {
  Protocol* protocol;
  SEL name;
  bool isRequired;
  bool isInstance;
  objc_method_description description;
};

}  // namespace
}  // namespace foundation

foundation::Names foundation::protocolFunctions() {
  static constexpr const char* names[] = {"protocol_getMethodDescription"};
  return names;
}

extern "C" objc_method_description protocol_getMethodDescription(Protocol* protocol, SEL name, bool isRequired,
                                                                 bool isInstance) {
  if (protocol == nullptr || name == nullptr) return {nullptr, nullptr};
  thread_local foundation::DirectMapped<foundation::Found, 32> all;
  foundation::Found& known = all.placeOf(name);
  const bool isKnown = known.protocol == protocol && known.name == name && known.isRequired == isRequired &&
                       known.isInstance == isInstance;
  if (!isKnown) {
    known = {protocol, name, isRequired, isInstance, foundation::find(protocol, name, isRequired, isInstance)};
  }
  return known.description;
}

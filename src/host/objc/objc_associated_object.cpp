#include <algorithm>

#include "host/objc/objc_runtime.h"
#include "platform/send.h"

namespace {

constexpr objc_AssociationPolicy atomicBits = 0x300;

platform::Strong hold(id value, objc_AssociationPolicy policy) {
  switch (policy & ~atomicBits) {
    case OBJC_ASSOCIATION_RETAIN_NONATOMIC: return value;
    case OBJC_ASSOCIATION_COPY_NONATOMIC: {
      static const SEL copy = sel_registerName("copy");
      return platform::Strong::adopt(platform::send<id()>(value, copy));
    }
    default: return {};
  }
}

auto findAssociation(host::SideData& side, const void* key) {
  return std::find_if(side.associations.begin(), side.associations.end(),
                      [key](const host::Association& each) { return each.key == key; });
}

}  // namespace

void objc_setAssociatedObject(id object, const void* key, id value, objc_AssociationPolicy policy) {
  if (object == nullptr) return;
  platform::Strong held = hold(value, policy);
  host::Association next{key, policy, held ? held.get() : value, std::move(held)};  // destroyed outside the lock
  const std::unique_lock lock(host::objectLock(object));
  if (value == nullptr && host::headerOf(object).side.load(std::memory_order_relaxed) == nullptr) return;
  host::SideData& side = host::sideData(object);
  const auto place = findAssociation(side, key);
  if (place == side.associations.end()) {
    if (value != nullptr) side.associations.push_back(std::move(next));
    return;
  }
  std::swap(*place, next);
  if (value == nullptr) side.associations.erase(place);
}

id objc_getAssociatedObject(id object, const void* key) {
  if (object == nullptr) return nullptr;
  platform::Strong kept;
  {
    const std::unique_lock lock(host::objectLock(object));
    if (host::headerOf(object).side.load(std::memory_order_relaxed) == nullptr) return nullptr;
    host::SideData& side = host::sideData(object);
    const auto place = findAssociation(side, key);
    if (place == side.associations.end()) return nullptr;
    if ((place->policy & atomicBits) == 0) return place->value;
    kept = place->value;  // another thread may replace the value before the caller uses it
  }
  return std::move(kept).autoreleased();
}

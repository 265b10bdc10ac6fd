#include "appdelegate/interceptor_registry.h"

#include <algorithm>
#include <utility>

PLXSafeWeakContainer* InterceptorRegistry::find(std::string_view interceptorID) {
  const Entry* entry = findEntry(interceptorID);
  if (entry == nullptr) return nullptr;
  return &platform::objectState<PLXSafeWeakContainer>(entry->container.get());
}

void InterceptorRegistry::set(std::string_view interceptorID, platform::Strong container) {
  Entry* entry = findEntry(interceptorID);
  if (entry == nullptr) entry = &entries_.emplace_back(Entry{std::string(interceptorID), {}});
  entry->container = std::move(container);
}

void InterceptorRegistry::remove(std::string_view interceptorID) {
  Entry* entry = findEntry(interceptorID);
  if (entry == nullptr) return;
  entry->isRemoved = true;
  holdsRemoved_ = true;
  dropRemoved();
}

std::size_t InterceptorRegistry::count() const {
  return static_cast<std::size_t>(std::ranges::count(entries_, false, &Entry::isRemoved));
}

InterceptorRegistry::Entry* InterceptorRegistry::findEntry(std::string_view interceptorID) {
  const auto found = std::ranges::find_if(entries_, [interceptorID](const Entry& entry) {
    return !entry.isRemoved && entry.interceptorID == interceptorID;
  });
  return found == entries_.end() ? nullptr : &*found;
}

// Not during a walk, which goes by places.
void InterceptorRegistry::dropRemoved() {
  if (walks_ > 0) return;
  std::erase_if(entries_, [](const Entry& entry) { return entry.isRemoved; });
  holdsRemoved_ = false;
}

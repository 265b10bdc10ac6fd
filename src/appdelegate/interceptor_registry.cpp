#include "appdelegate/interceptor_registry.h"

#include <algorithm>
#include <utility>

const InterceptorRegistry::Entry* InterceptorRegistry::find(std::string_view interceptorID) const {
  const auto found = std::ranges::find(*entries_, interceptorID, &Entry::interceptorID);
  return found != entries_->end() ? &*found : nullptr;
}

bool InterceptorRegistry::holds(const Entry& entry) const {
  const Entry* present = find(entry.interceptorID);
  return present != nullptr && present->container.get() == entry.container.get();
}

void InterceptorRegistry::set(std::string_view interceptorID, platform::Strong container) {
  auto changed = std::make_shared<Entries>(*entries_);
  const auto found = std::ranges::find(*changed, interceptorID, &Entry::interceptorID);
  Entry& entry = found != changed->end() ? *found : changed->emplace_back(Entry{std::string(interceptorID), {}});
  entry.container = std::move(container);
  entries_ = std::move(changed);
}

void InterceptorRegistry::remove(std::string_view interceptorID) {
  auto changed = std::make_shared<Entries>(*entries_);
  std::erase_if(*changed, [interceptorID](const Entry& entry) { return entry.interceptorID == interceptorID; });
  entries_ = std::move(changed);
}

#include "services/memory_store.h"

#include <algorithm>

namespace services {

std::optional<platform::Value> MemoryStore::data(std::string_view key) {
  const std::lock_guard lock(mutex_);
  const auto item = std::ranges::find(items_, key, [](const auto& each) { return std::string_view(each.first); });
  if (item == items_.end()) return std::nullopt;
  return item->second;
}

bool MemoryStore::setData(std::string_view key, const platform::Value& data) {
  const std::lock_guard lock(mutex_);
  const auto item = std::ranges::find(items_, key, [](const auto& each) { return std::string_view(each.first); });
  if (item != items_.end()) {
    item->second = data;
  } else {
    items_.emplace_back(key, data);
  }
  return true;
}

std::shared_ptr<ItemStore> MemoryStores::open(const std::filesystem::path& path, ItemStore::Report /*report*/) {
  const std::lock_guard lock(mutex_);
  const auto known = std::ranges::find(stores_, path, [](const auto& each) { return each.first; });
  if (known != stores_.end()) return known->second;
  return stores_.emplace_back(path, std::make_shared<MemoryStore>()).second;
}

}  // namespace services

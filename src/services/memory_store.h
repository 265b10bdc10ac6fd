#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "services/item_store.h"

namespace services {

/// Items in memory, for phones whose data need not outlive the program. Takes no descriptor. It never fails.
class MemoryStore final : public ItemStore {
 public:
  std::optional<platform::Value> data(std::string_view key) override;
  bool setData(std::string_view key, const platform::Value& data) override;

 private:
  std::mutex mutex_;
  std::vector<std::pair<std::string, platform::Value>> items_;  // a phone has a few
};

/// Returns the same store for the same path, so that data outlives a phone's processes. Phones whose storage has the
/// same path need a MemoryStores each.
class MemoryStores final : public ItemStores {
 public:
  std::shared_ptr<ItemStore> open(const std::filesystem::path& path, ItemStore::Report report) override;

 private:
  std::mutex mutex_;
  std::vector<std::pair<std::filesystem::path, std::shared_ptr<MemoryStore>>> stores_;
};

}  // namespace services

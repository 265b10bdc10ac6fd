#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace services {

/// Named items of bytes: a phone's keychain, an App Group's store. Any thread. A failure appears as on the platform: an
/// item is absent, or is not stored; the store's Report receives one line with the problem and the remedy.
class ItemStore {
 public:
  using Report = std::function<void(const std::string& problem)>;

  virtual ~ItemStore() = default;
  virtual std::optional<platform::Value> data(std::string_view key) = 0;
  /// Returns whether the data is stored.
  virtual bool setData(std::string_view key, const platform::Value& data) = 0;
};

/// Makes the stores of a phone: SQLiteStores or MemoryStores. Any thread.
class ItemStores {
 public:
  virtual ~ItemStores() = default;
  virtual std::shared_ptr<ItemStore> open(const std::filesystem::path& path, ItemStore::Report report) = 0;
};

}  // namespace services

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "services/item_store.h"

struct sqlite3;

namespace services {

/// Items in one SQLite file that only its owner can read. An item is whole or absent however its writer dies, and
/// several processes may use the file at once. The first use opens the file.
///
/// `report` receives one line with the file's name, the problem and the remedy. A file that is no store is left
/// unchanged. When the file is removed or replaced by another one, the next use works with the file that is there then.
class SQLiteStore final : public ItemStore {
 public:
  SQLiteStore(std::filesystem::path path, Report report);
  SQLiteStore(const SQLiteStore&) = delete;
  SQLiteStore& operator=(const SQLiteStore&) = delete;
  ~SQLiteStore() override;

  std::optional<platform::Value> data(std::string_view key) override;
  bool setData(std::string_view key, const platform::Value& data) override;

 private:
  bool open();
  bool write(std::string_view key, const platform::Value& data);
  bool fail(const std::string& what);
  bool refuse(const std::string& problem);

  std::filesystem::path path_;
  Report report_;
  std::mutex mutex_;
  sqlite3* database_ = nullptr;
  std::pair<std::uint64_t, std::uint64_t> file_;  // of the open file
};

/// Opens the file at each path, with a handle of its own each time.
class SQLiteStores final : public ItemStores {
 public:
  std::shared_ptr<ItemStore> open(const std::filesystem::path& path, ItemStore::Report report) override;
};

}  // namespace services

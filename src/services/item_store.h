#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/value.h"

struct sqlite3;

namespace services {

/// Named items of bytes in one SQLite file that only its owner can read: a phone's keychain, an App Group's store. An
/// item is whole or absent however its writer dies, and several processes may use the file at once. Any thread.
///
/// A failure appears as on the platform: an item is absent, or is not stored. `report` receives one line with the
/// file's name, the problem and the remedy. A file that is no store is left unchanged. When the file is removed or
/// replaced by another one, the next use works with the file that is there then.
class ItemStore {
 public:
  using Report = std::function<void(const std::string& problem)>;

  ItemStore(std::filesystem::path path, Report report);
  ItemStore(const ItemStore&) = delete;
  ItemStore& operator=(const ItemStore&) = delete;
  ~ItemStore();

  std::optional<platform::Value> data(std::string_view key);
  bool setData(std::string_view key, const platform::Value& data);  ///< returns whether the data is stored

 private:
  bool open();
  bool write(std::string_view key, const platform::Value& data);
  bool fail(const std::string& what);
  bool refuse(const std::string& problem);

  std::filesystem::path path_;
  Report report_;
  std::mutex mutex_;
  sqlite3* database_ = nullptr;                   // opened by the first use
  std::pair<std::uint64_t, std::uint64_t> file_;  // of the open file
};

}  // namespace services

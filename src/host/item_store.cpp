#include "host/item_store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace host {
namespace {

constexpr int busyTimeoutMilliseconds = 5'000;

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

Statement prepare(sqlite3* database, const char* sql, std::string_view key) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK) return nullptr;
  sqlite3_bind_text(statement, 1, key.data(), static_cast<int>(key.size()), SQLITE_TRANSIENT);
  return Statement(statement);
}

// Made with owner-only rights before SQLite sees it, whatever the umask; the journal takes over the file's rights.
bool makeOwnerOnlyFile(const std::filesystem::path& path) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return false;
  ::close(descriptor);
  return true;
}

}  // namespace

ItemStore::ItemStore(std::filesystem::path path, Report report) : path_(std::move(path)), report_(std::move(report)) {}

ItemStore::~ItemStore() { sqlite3_close(database_); }

std::optional<platform::Value> ItemStore::data(std::string_view key) {
  const std::lock_guard lock(mutex_);
  if (!open()) return std::nullopt;
  const Statement statement = prepare(database_, "SELECT data FROM items WHERE key = ?1", key);
  const int result = statement ? sqlite3_step(statement.get()) : SQLITE_ERROR;
  if (result == SQLITE_DONE) return std::nullopt;
  if (result != SQLITE_ROW) {
    fail("cannot be read");
    return std::nullopt;
  }
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement.get(), 0));
  return platform::Value::bytes({bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), 0))});
}

bool ItemStore::setData(std::string_view key, const platform::Value& data) {
  const std::lock_guard lock(mutex_);
  if (!open()) return false;
  const Statement statement =
      prepare(database_, "INSERT INTO items VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET data = excluded.data", key);
  const platform::ByteView bytes = data.bytes();
  if (!statement) return fail("cannot be written");
  // A zero-length blob, not NULL, where there are no bytes.
  sqlite3_bind_blob(statement.get(), 2, bytes.empty() ? "" : static_cast<const void*>(bytes.data()),
                    static_cast<int>(bytes.size()), SQLITE_STATIC);
  return sqlite3_step(statement.get()) == SQLITE_DONE || fail("cannot be written");
}

bool ItemStore::open() {
  if (database_ != nullptr) return true;
  if (!makeOwnerOnlyFile(path_)) {
    report_(path_.string() + " cannot be opened: " + std::strerror(errno));
    return false;
  }
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX;
  if (sqlite3_open_v2(path_.c_str(), &database_, flags, nullptr) != SQLITE_OK) return fail("cannot be opened");
  sqlite3_busy_timeout(database_, busyTimeoutMilliseconds);
  constexpr const char* setUp =
      "PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL; PRAGMA secure_delete = ON;"
      "CREATE TABLE IF NOT EXISTS items (key TEXT PRIMARY KEY, data BLOB NOT NULL) WITHOUT ROWID";
  if (sqlite3_exec(database_, setUp, nullptr, nullptr, nullptr) != SQLITE_OK) return fail("cannot be opened");
  return true;
}

// Closes the file, so that the next use tries again from the start; nothing is repaired or overwritten.
bool ItemStore::fail(const char* what) {
  report_(path_.string() + " " + what + ": " + sqlite3_errmsg(database_));
  sqlite3_close_v2(std::exchange(database_, nullptr));
  return false;
}

}  // namespace host

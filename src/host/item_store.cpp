#include "host/item_store.h"

#include <sqlite3.h>
#include <sys/stat.h>

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
  Statement owned(statement);
  const int bound = sqlite3_bind_text64(statement, 1, key.data(), key.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  return bound == SQLITE_OK ? std::move(owned) : nullptr;
}

// A file with owner-only rights before SQLite sees it, whatever the umask and whoever made it; the journal takes them
// over. Without a descriptor of its own: closing one would drop the locks that this program's other handles have.
// Answers what stands in the way.
std::string makeOwnerOnlyFile(const std::filesystem::path& path) {
  constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
  struct stat found {};
  const bool exists = ::mknod(path.c_str(), S_IFREG | ownerOnly, 0) == 0 || errno == EEXIST;
  if (!exists || ::lstat(path.c_str(), &found) != 0) return std::strerror(errno);
  if (!S_ISREG(found.st_mode)) return "it is no regular file";
  if ((found.st_mode & ALLPERMS) != ownerOnly && ::chmod(path.c_str(), ownerOnly) != 0) return std::strerror(errno);
  return {};
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
  const void* start = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
  const bool isStored = sqlite3_bind_blob64(statement.get(), 2, start, bytes.size(), SQLITE_STATIC) == SQLITE_OK &&
                        sqlite3_step(statement.get()) == SQLITE_DONE;
  return isStored || fail("cannot be written");
}

bool ItemStore::open() {
  if (database_ != nullptr) return true;
  if (const std::string fault = makeOwnerOnlyFile(path_); !fault.empty()) {
    report_(path_.string() + " cannot be opened: " + fault);
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

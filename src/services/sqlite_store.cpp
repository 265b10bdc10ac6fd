#include "services/sqlite_store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "value/printable_text.h"

namespace services {
namespace {

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

// Checks every millisecond, for five seconds, whether the lock is free. SQLite's own handler checks only ten times a
// second, and each time it may meet the next transaction of another program.
int waitForLock(void* /*context*/, int attemptsBefore) {
  constexpr int mostAttempts = 5'000;
  if (attemptsBefore == mostAttempts) return 0;
  sqlite3_sleep(1);
  return 1;
}

// SQLite reads zeros where a part of the last page is missing. While a statement is at a row, no other code writes.
bool isCutShort(sqlite3* database, const std::filesystem::path& path) {
  constexpr const char* size =
      "SELECT (SELECT page_count * page_size FROM pragma_page_count, pragma_page_size)"
      " FROM sqlite_schema LIMIT 1";
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, size, -1, &statement, nullptr);
  const Statement owned(statement);
  std::error_code unknown;
  return sqlite3_step(statement) == SQLITE_ROW &&
         std::filesystem::file_size(path, unknown) < static_cast<std::uintmax_t>(sqlite3_column_int64(statement, 0));
}

bool isRegularOrAbsent(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 ? S_ISREG(found.st_mode) : errno == ENOENT;
}

// Two files never have the same identity while one of them is open.
std::pair<std::uint64_t, std::uint64_t> identityOfFileAt(const std::filesystem::path& path) {
  struct stat found {};
  if (::lstat(path.c_str(), &found) != 0) return {};
  return {found.st_dev, found.st_ino};
}

// Makes a file that only its owner may use, before SQLite sees it, whatever the umask. An existing file is restricted
// too. The journal inherits the rights; the owner's own rights are kept. No descriptor is opened, because closing one
// would drop the locks that this program's other handles have. Returns what prevents the use of the file.
std::string makeOwnerOnlyFile(const std::filesystem::path& path) {
  constexpr mode_t ownersRights = S_IRUSR | S_IWUSR;
  struct stat found {};
  const bool exists = ::mknod(path.c_str(), S_IFREG | ownersRights, 0) == 0 || errno == EEXIST;
  if (!exists || ::lstat(path.c_str(), &found) != 0) return std::strerror(errno);
  if (!S_ISREG(found.st_mode)) return "it is not a regular file; remove it, or configure another path";
  const mode_t rights = found.st_mode & ALLPERMS;
  if ((rights & ~ownersRights) != 0 && ::chmod(path.c_str(), rights & ownersRights) != 0) return std::strerror(errno);
  for (const char* suffix : {"-journal", "-wal"}) {  // SQLite would wait for a writer to a pipe of that name
    const std::string companion = path.string() + suffix;
    if (!isRegularOrAbsent(companion)) return companion + " is not a regular file; remove it";
  }
  return {};
}

const char* remedyFor(int result) {
  switch (result) {
    case SQLITE_BUSY: return "; another program keeps it locked: end that program";
    case SQLITE_FULL: return "; free space on its disk: the items stored before are unchanged";
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT: return "; it is not changed: move it away to start with an empty store";
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_CANTOPEN: return "; its owner needs write permission for it and its directory";
    case SQLITE_ERROR: return "; it is not a store and is not changed: move it away to start with an empty store";
    default: return "";
  }
}

}  // namespace

SQLiteStore::SQLiteStore(std::filesystem::path path, Report report)
    : path_(std::move(path)), report_(std::move(report)) {}

SQLiteStore::~SQLiteStore() { sqlite3_close(database_); }

std::optional<platform::Value> SQLiteStore::data(std::string_view key) {
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

bool SQLiteStore::setData(std::string_view key, const platform::Value& data) {
  const std::lock_guard lock(mutex_);
  if (!open()) return false;
  if (write(key, data)) return true;
  // Another file replaced this one while the store waited for its lock.
  const bool isReplaced = sqlite3_extended_errcode(database_) == SQLITE_READONLY_DBMOVED;
  if (isReplaced && !open()) return false;
  return (isReplaced && write(key, data)) || fail("cannot be written");
}

bool SQLiteStore::write(std::string_view key, const platform::Value& data) {
  const Statement statement =
      prepare(database_, "INSERT INTO items VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET data = excluded.data", key);
  if (!statement) return false;
  const platform::ByteView bytes = data.bytes();
  // A zero-length blob, not NULL, when there are no bytes.
  const void* start = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
  return sqlite3_bind_blob64(statement.get(), 2, start, bytes.size(), SQLITE_STATIC) == SQLITE_OK &&
         sqlite3_step(statement.get()) == SQLITE_DONE;
}

bool SQLiteStore::open() {
  if (database_ != nullptr && identityOfFileAt(path_) == file_) return true;
  sqlite3_close_v2(std::exchange(database_, nullptr));
  if (const std::string fault = makeOwnerOnlyFile(path_); !fault.empty()) return refuse("cannot be opened: " + fault);
  file_ = identityOfFileAt(path_);  // read before the file is opened, so that any later replacement is noticed
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX;
  if (sqlite3_open_v2(path_.c_str(), &database_, flags, nullptr) != SQLITE_OK) return fail("cannot be opened");
  sqlite3_busy_handler(database_, &waitForLock, nullptr);
  constexpr const char* setUp =
      "PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL; PRAGMA secure_delete = ON;"
      "CREATE TABLE IF NOT EXISTS items (key TEXT PRIMARY KEY, data BLOB NOT NULL) WITHOUT ROWID";
  if (sqlite3_exec(database_, setUp, nullptr, nullptr, nullptr) != SQLITE_OK) return fail("cannot be opened");
  return !isCutShort(database_, path_) || refuse("is truncated" + std::string(remedyFor(SQLITE_CORRUPT)));
}

bool SQLiteStore::fail(const std::string& what) {
  std::string problem = what + ": " + sqlite3_errmsg(database_);
  const int result = sqlite3_errcode(database_);
  const int systemError = sqlite3_system_errno(database_);
  if (systemError != 0 && result != SQLITE_BUSY) problem.append(" (").append(std::strerror(systemError)).append(")");
  return refuse(problem + remedyFor(result));
}

// Closes the file, so that the next use tries again from the start. Nothing is repaired or overwritten.
bool SQLiteStore::refuse(const std::string& problem) {
  report_(value::printable(path_.string() + " " + problem));  // the messages of SQLite quote what the file holds
  sqlite3_close_v2(std::exchange(database_, nullptr));
  return false;
}

std::shared_ptr<ItemStore> SQLiteStores::open(const std::filesystem::path& path, ItemStore::Report report) {
  return std::make_shared<SQLiteStore>(path, std::move(report));
}

}  // namespace services

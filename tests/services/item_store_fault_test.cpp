// What a store reports and preserves when its file or its disk is faulty.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "services/sqlite_store.h"
#include "tests/support/limited_disk.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace testing;
using platform::Value;

constexpr const char* beginAnew = "not changed: move it away to start with an empty store";

class ItemStoreFault : public Test {
 protected:
  services::SQLiteStore open() {
    return {path_, [this](const std::string& problem) { problems_.push_back(problem); }};
  }
  void writeFile(const std::string& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }
  std::string readFile() { return test::fileText(path_); }
  /// The bytes of an intact store.
  std::string soundFile() {
    EXPECT_TRUE(open().setData("short", short_));
    EXPECT_TRUE(open().setData("long", long_));
    return readFile();
  }
  /// There are reports, and each is one line that names the file and contains this text.
  void expectReported(const std::string& what) {
    EXPECT_THAT(std::exchange(problems_, {}),
                AllOf(SizeIs(Gt(0U)), Each(AllOf(StartsWith(path_.string()), HasSubstr(what), Not(HasSubstr("\n"))))));
  }
  void execute(const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }

  const Value short_ = Value::bytes("short");
  const Value long_ = Value::bytes(std::string(10'000, 'l'));
  const test::TemporaryDirectory directory_;
  const std::filesystem::path path_ = directory_.path() / "items.sqlite";
  std::vector<std::string> problems_;
};

TEST_F(ItemStoreFault, AFileThatIsNotAStoreIsReportedAndNotChanged) {
  const std::string sound = soundFile();
  std::string shuffled = sound;
  std::ranges::reverse(shuffled.begin() + 100, shuffled.end());
  std::filesystem::remove(path_);
  execute("CREATE TABLE items (name TEXT)");
  const std::string foreign = readFile();
  for (const std::string& bytes : {std::string(4'096, 'g'), std::string("SQLite format 3"), shuffled, foreign}) {
    writeFile(bytes);
    EXPECT_EQ(open().data("short"), std::nullopt);
    EXPECT_FALSE(open().setData("short", Value::bytes("new")));
    EXPECT_EQ(readFile(), bytes);
    expectReported(beginAnew);
  }
}

TEST_F(ItemStoreFault, ATruncatedFileIsReportedAtAnyLength) {
  const std::string sound = soundFile();
  constexpr std::size_t step = 191;
  for (std::size_t size = 2; size < sound.size(); size += step) {
    writeFile(sound.substr(0, size));
    EXPECT_EQ(open().data("long"), std::nullopt) << size;
    EXPECT_FALSE(open().setData("short", Value::bytes("new"))) << size;
    EXPECT_EQ(readFile().size(), size);
    expectReported(beginAnew);
  }
  writeFile("");  // the state after a program is killed just after it made the file
  EXPECT_TRUE(open().setData("short", short_));
  EXPECT_THAT(problems_, IsEmpty());
}

TEST_F(ItemStoreFault, APipeInPlaceOfTheJournalDoesNotBlock) {
  soundFile();
  for (const char* suffix : {"-journal", "-wal"}) {
    const std::string pipe = path_.string() + suffix;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(open().data("short"), std::nullopt);
    expectReported(pipe + " is not a regular file; remove it");
    std::filesystem::remove(pipe);
  }
  EXPECT_EQ(open().data("short"), short_);
}

TEST_F(ItemStoreFault, AFullDiskLosesNoItemAtAnySize) {
  services::SQLiteStore store = open();
  ASSERT_TRUE(store.setData("key", long_));
  constexpr std::uint64_t enough = 200'000;
  std::uint64_t room = 0;
  bool isStored = false;
  for (; room < enough; room += 1'999) {
    {
      const test::LimitedDisk disk(room, test::LimitedDisk::End::full);
      isStored = store.setData("key", Value::bytes(std::string(20'000, 'n')));
      EXPECT_NE(isStored, disk.isUsedUp());
    }
    if (isStored) break;
    EXPECT_EQ(open().data("key"), long_) << room;
  }
  EXPECT_TRUE(isStored);
  EXPECT_GT(room, 20'000U);
  expectReported("cannot be written: database or disk is full; free space on its disk");
}

TEST_F(ItemStoreFault, TheNextUseOpensTheCurrentFile) {
  const std::string another = (directory_.path() / "another").string();
  const auto replaceBy = [&](const std::string& bytes) {
    std::ofstream(another, std::ios::binary) << bytes;
    std::filesystem::rename(another, path_);
  };
  const std::string garbage(4'096, 'g');
  ASSERT_TRUE(open().setData("short", long_));
  const std::string otherStore = readFile();
  const struct {
    const char* name;
    std::function<void()> change;
    std::optional<Value> found;
    bool isStore;
  } cases[] = {{"removed", [&] { std::filesystem::remove(path_); }, std::nullopt, true},
               {"replaced by a store", [&] { replaceBy(otherStore); }, long_, true},
               {"replaced by garbage", [&] { replaceBy(garbage); }, std::nullopt, false},
               {"overwritten with garbage", [&] { writeFile(garbage); }, std::nullopt, false}};
  for (const auto& [name, change, found, isStore] : cases) {
    SCOPED_TRACE(name);
    for (const bool readsFirst : {true, false}) {
      std::filesystem::remove(path_);
      services::SQLiteStore store = open();
      ASSERT_TRUE(store.setData("short", short_));
      change();
      EXPECT_TRUE(!readsFirst || store.data("short") == found);
      EXPECT_EQ(store.setData("new", short_), isStore);
      EXPECT_EQ(open().data("new"), isStore ? std::optional(short_) : std::nullopt);
      if (!isStore) expectReported(beginAnew);
      EXPECT_THAT(problems_, IsEmpty());
    }
  }
}

/// Another program's lock. SQLite uses the test's clock: waiting for the lock advances the time.
class LockedItemStore : public ItemStoreFault {
 protected:
  LockedItemStore() {
    soundFile();
    sqlite3_open(path_.c_str(), &other_);
    EXPECT_EQ(sqlite3_exec(other_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    files_->xSleep = [](sqlite3_vfs*, int microseconds) {
      waited_ += microseconds;
      if (waited_ != freeAfter_) return microseconds;
      if (isRemoved_) std::filesystem::remove(sqlite3_db_filename(other_, "main"));
      sqlite3_exec(other_, "COMMIT", nullptr, nullptr, nullptr);
      return microseconds;
    };
  }
  ~LockedItemStore() override {
    files_->xSleep = sleepBefore_;
    sqlite3_close(other_);
  }
  LockedItemStore(const LockedItemStore&) = delete;
  LockedItemStore& operator=(const LockedItemStore&) = delete;

  static inline sqlite3* other_ = nullptr;
  static inline int waited_ = 0;
  static inline int freeAfter_ = 0;
  static inline bool isRemoved_ = false;  ///< just before it is free

 private:
  sqlite3_vfs* const files_ = sqlite3_vfs_find(nullptr);
  int (*const sleepBefore_)(sqlite3_vfs*, int) = files_->xSleep;
};

TEST_F(LockedItemStore, IsWaitedForUntilALimit) {
  services::SQLiteStore store = open();
  waited_ = 0;
  freeAfter_ = 0;
  EXPECT_EQ(store.data("short"), std::nullopt);
  EXPECT_FALSE(store.setData("short", Value::bytes("new")));
  EXPECT_EQ(waited_, 2 * 5'000'000);
  expectReported("database is locked; another program keeps it locked: end that program");
  freeAfter_ = waited_ + 4'000'000;
  EXPECT_TRUE(store.setData("long", short_));
  EXPECT_EQ(store.data("short"), short_);
  EXPECT_THAT(problems_, IsEmpty());
}

TEST_F(LockedItemStore, MayBeRemovedMeanwhile) {
  isRemoved_ = true;
  freeAfter_ = waited_ + 1'000'000;
  EXPECT_TRUE(open().setData("short", long_));
  isRemoved_ = false;
  EXPECT_EQ(open().data("short"), long_);
  EXPECT_EQ(open().data("long"), std::nullopt);
  EXPECT_THAT(problems_, IsEmpty());
}

/// Runs in another process, because root, which may write anything, cannot regain its rights after dropping them.
TEST_F(ItemStoreFault, AReadOnlyFileIsReadAndReported) {
  soundFile();
  constexpr uid_t nobody = 65'534;
  const bool isRoot = geteuid() == 0;
  const uid_t user = isRoot ? nobody : geteuid();
  for (const std::filesystem::path& place : {directory_.path(), path_}) {
    ASSERT_EQ(chown(place.c_str(), user, static_cast<gid_t>(-1)), 0);
  }
  const std::pair<std::filesystem::path, mode_t> cases[] = {{path_, S_IRUSR}, {directory_.path(), S_IRUSR | S_IXUSR}};
  for (const auto& [place, rights] : cases) {
    struct stat before {};
    ASSERT_EQ(stat(place.c_str(), &before), 0);
    ASSERT_EQ(chmod(place.c_str(), rights), 0);
    const pid_t child = fork();
    if (child == 0) {
      if (isRoot && setuid(user) != 0) _exit(1);
      EXPECT_EQ(open().data("short"), short_);
      EXPECT_FALSE(open().setData("short", Value::bytes("new")));
      expectReported("its owner needs write permission for it and its directory");
      _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << place;
    ASSERT_EQ(chmod(place.c_str(), before.st_mode), 0);
    EXPECT_EQ(open().data("short"), short_);
  }
}

}  // namespace

#include "services/item_store.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "services/memory_store.h"
#include "services/sqlite_store.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace testing;
using platform::Value;

class ItemStore : public Test {
 protected:
  services::SQLiteStore open() {
    return {path_, [this](const std::string& problem) { problems_.push_back(problem); }};
  }

  test::TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_.path() / "items.sqlite";
  std::vector<std::string> problems_;
};

TEST_F(ItemStore, keepsItemsAcrossHandlesAndReplacesThem) {
  const Value token = Value::bytes(std::string_view("\0\x01\xFF", 3));
  {
    services::SQLiteStore store = open();
    EXPECT_EQ(store.data("key"), std::nullopt);
    EXPECT_TRUE(store.setData("key", Value::bytes("old")));
    EXPECT_TRUE(store.setData("key", token));
    EXPECT_TRUE(store.setData("empty", Value::bytes("")));
  }
  services::SQLiteStore other = open();
  EXPECT_EQ(other.data("key"), token);
  EXPECT_EQ(other.data("empty"), Value::bytes(""));
  EXPECT_THAT(problems_, IsEmpty());
}

TEST_F(ItemStore, isReadableOnlyByItsOwnerForAnyUmask) {
  using std::filesystem::perms;
  const mode_t umaskBefore = umask(0);
  for (int round = 0; round < 2; ++round) {  // one that it makes, one that it finds
    open().setData("key", Value::bytes("x"));
    EXPECT_EQ(std::filesystem::status(path_).permissions(), perms::owner_read | perms::owner_write);
    std::filesystem::permissions(path_, perms::all);
  }
  umask(umaskBefore);
}

TEST_F(ItemStore, acceptsConcurrentWritersOfSeveralHandles) {
  std::vector<std::thread> writers;
  for (char writer = 'a'; writer < 'd'; ++writer) {
    writers.emplace_back([this, writer] {
      services::SQLiteStore store(path_, [](const std::string& problem) { ADD_FAILURE() << problem; });
      for (int i = 0; i < 20; ++i) EXPECT_TRUE(store.setData("shared", Value::bytes(std::string(100, writer))));
    });
  }
  for (std::thread& writer : writers) writer.join();
  const std::optional<Value> last = open().data("shared");
  ASSERT_TRUE(last);
  const std::string text(last->bytes().begin(), last->bytes().end());
  EXPECT_EQ(text, std::string(100, text[0])) << "an item is the complete value of one writer";
}

TEST_F(ItemStore, reportsAPathWhereNoFileCanBe) {
  std::filesystem::create_symlink("elsewhere", directory_.path() / "link");
  for (const char* name : {"missing/items.sqlite", "link", "."}) {
    path_ = directory_.path() / name;
    EXPECT_FALSE(open().setData("key", Value::bytes("x")));
  }
  const auto irregular = HasSubstr("cannot be opened: it is not a regular file");
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("No such file or directory"), irregular, irregular));
}

TEST(ItemStores, openTheSameItemsForTheSamePath) {
  const test::TemporaryDirectory directory;
  services::SQLiteStores files;
  services::MemoryStores memory;
  const auto fails = [](const std::string& problem) { ADD_FAILURE() << problem; };
  for (services::ItemStores* stores :
       {static_cast<services::ItemStores*>(&files), static_cast<services::ItemStores*>(&memory)}) {
    const std::filesystem::path path = directory.path() / "items";
    stores->open(path, fails)->setData("key", Value::bytes("old"));
    const auto store = stores->open(path, fails);
    EXPECT_TRUE(store->setData("key", Value::bytes("new")));
    EXPECT_TRUE(store->setData("other", Value::bytes("")));
    EXPECT_EQ(stores->open(path, fails)->data("key"), Value::bytes("new"));
    EXPECT_EQ(store->data("other"), Value::bytes(""));
    EXPECT_EQ(store->data("absent"), std::nullopt);
    EXPECT_EQ(stores->open(directory.path() / "else", fails)->data("key"), std::nullopt);
  }
}

}  // namespace

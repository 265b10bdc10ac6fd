// The store that an application shares with its notification extension, as another process sees it.

#include "platform/user_defaults.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>

#include "platform/core_library.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using platform::UserDefaults;
using platform::Value;

const Value configuration = test::configuration("http://127.0.0.1:1");

class SharedStore : public Test {
 protected:
  void set(const Value& value, const std::string& suite = "group") {
    phone_.run([&] { UserDefaults::initWithSuiteName(suite)->setObject(value, "key"); });
  }
  std::optional<Value> get(const std::string& suite = "group") {
    std::optional<Value> value;
    phone_.run([&] { value = UserDefaults::initWithSuiteName(suite)->objectForKey("key"); });
    return value;
  }
  std::vector<std::string> problems() {
    std::vector<std::string> texts;
    for (const Value& details : phone_.take("failed")) texts.emplace_back(details.find("problem")->text());
    return texts;
  }

  /// Runs `work` with the store in a child of this program, which has no threads yet, and returns its wait status.
  template <class Work>
  int inAnotherProcess(Work work) {
    const pid_t child = fork();
    if (child == 0) {
      test::TestPhone other(configuration, storage_.path());
      other.run([&] { work(*UserDefaults::initWithSuiteName("group")); });
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  test::TemporaryDirectory storage_;
  test::TestPhone phone_{configuration, storage_.path()};
};

TEST_F(SharedStore, storesPropertyListValuesUnchanged) {
  const Value nested = Value::list({1, Value::dictionary({{"k", Value::list({"x", false})}}), Value::list({})});
  const std::string control("\x1B\0 é\x7F", 6);
  for (const Value& value :
       {Value(0), Value(-7), Value(INT64_MAX), Value(UINT64_MAX), Value(1.5), Value(HUGE_VAL), Value(std::nan("")),
        Value(true), Value(""), Value(control), Value::bytes("\x01\xFF"), Value::dictionary({{control, 1}}), nested}) {
    set(value);
    ASSERT_TRUE(get()) << value.description();
    EXPECT_EQ(get()->description(), value.description());
    EXPECT_EQ(get()->kind(), value.kind());
  }
  EXPECT_THAT(problems(), IsEmpty());
  set("before");
  set(std::string(5 << 20, 'x'));
  EXPECT_THAT(problems(), ElementsAre("group, key: larger than the 4 MiB that a property list may have"));
  EXPECT_EQ(get(), Value("before")) << "what could not be read again is not stored";
}

TEST_F(SharedStore, separatesSuitesAndKeepsThemInTheirDirectory) {
  const std::string names[] = {"group", "../escape", "..", "/etc/x", ".hidden", "a/b", "a%2Fb", std::string("a\0b", 3)};
  for (const std::string& suite : names) {
    set(Value::bytes(suite), suite);
    EXPECT_EQ(get(suite), Value::bytes(suite));
  }
  const auto files = std::filesystem::directory_iterator(phone_->appGroups());
  EXPECT_EQ(std::distance(begin(files), end(files)), std::ssize(names));
  EXPECT_THAT(problems(), IsEmpty());
  set("x", std::string(300, 'n'));
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("File name too long")));
}

TEST(PhoneStorage, IsAccessibleOnlyToItsOwnerForAnyUmask) {
  const mode_t umaskBefore = umask(0);
  const test::TemporaryDirectory directory;
  test::TestPhone phone(configuration, directory.path() / "new" / "phone");
  phone.run([] {
    UserDefaults::initWithSuiteName("group")->setObject(1, "key");
    platform::QVKeyChainWrapper::setData(Value::bytes("x"), "key");
  });
  umask(umaskBefore);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
    EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(entry.is_directory() ? 0700 : 0600)) << entry.path();
    files += entry.is_regular_file();
  }
  EXPECT_EQ(files, 3U);
}

TEST_F(SharedStore, readsWhatAnotherProcessStoredEvenWhenThatIsKilled) {
  const Value written = Value::list({Value::dictionary({{"notificationid", 1}})});
  EXPECT_EQ(inAnotherProcess([&](UserDefaults& store) {
              store.setObject(written, "key");
              raise(SIGKILL);
            }),
            SIGKILL);
  EXPECT_EQ(get(), written);
}

}  // namespace

#include "pellion/suite/suite_watcher.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

#include "pellion/cli/command_line.h"
#include "pellion/cli/end_signals.h"
#include "pellion/text/input_error.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
namespace fs = std::filesystem;

class SuiteWatch : public Test {
 protected:
  SuiteWatch() {
    fs::create_directories(root_ / "below" / ".hidden");
    fs::create_directories(outside_);
  }
  static void write(const fs::path& path, const std::string& text = "{}") { std::ofstream(path) << text; }

  const test::TemporaryDirectory directory_;
  const fs::path root_ = fs::canonical(directory_.path()) / "suite";
  const fs::path outside_ = fs::canonical(directory_.path()) / "outside";
};

/// The system has queued each change when the call that makes it returns, so no test waits.
TEST_F(SuiteWatch, NoticesEachWayToChangeAFile) {
  write(root_ / "below/a.json");
  SuiteWatcher watcher(std::vector<std::string>{root_});
  const std::pair<std::function<void()>, fs::path> changes[] = {
      {[&] { write(root_ / "below/a.json"); }, "below/a.json"},
      {[&] { write(outside_ / "new"), fs::rename(outside_ / "new", root_ / "below/a.json"); }, "below/a.json"},
      {[&] { fs::rename(root_ / "below/a.json", root_ / "b.json"); }, "b.json"},
      {[&] { fs::create_symlink("b.json", root_ / "link.json"); }, "b.json"},
      {[&] { fs::create_hard_link(root_ / "b.json", root_ / "hard.json"); }, "hard.json"},
      {[&] { fs::create_directories(root_ / "new/deeper"); }, "new"},
      {[&] { write(root_ / "new/deeper/c.json"); }, "new/deeper/c.json"},
      {[&] { fs::rename(root_ / "new", root_ / "moved"); }, "moved"},
      {[&] { write(root_ / "moved/deeper/c.json"); }, "moved/deeper/c.json"},
      {[&] { write(outside_ / "d.json"), fs::rename(outside_, root_ / "in"); }, "in"},
      {[&] { write(root_ / "in/e.json"); }, "in/e.json"}};
  for (const auto& [change, path] : changes) {
    change();
    std::set<fs::path> changed = watcher.changedPaths();
    while (!changed.contains(root_ / path)) changed = watcher.changedPaths();  // hangs where it is not noticed
    EXPECT_THAT(changed, Contains(root_ / path));
  }
}

TEST_F(SuiteWatch, NoticesWhatIsRemoved) {
  const fs::path second = fs::canonical(directory_.path()) / "second";
  fs::create_directories(second);
  write(root_ / "below/a.json");
  write(second / "b.json");
  SuiteWatcher watcher(std::vector<std::string>{root_, second});
  fs::remove(root_ / "below/a.json");
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(root_ / "below/a.json"));
  fs::remove_all(root_ / "below");
  while (!watcher.changedPaths().contains(root_ / "below")) continue;
  EXPECT_THAT(watcher.takeGone(), IsEmpty());
  fs::rename(root_, outside_ / "suite");
  EXPECT_THAT(watcher.changedPaths(), IsEmpty());
  EXPECT_THAT(watcher.takeGone(), ElementsAre(root_));
  fs::remove_all(second);
  while (watcher.takeGone().empty()) watcher.changedPaths();
  EXPECT_THROW(watcher.changedPaths(), InputError);
}

TEST_F(SuiteWatch, PassesOverWhatIsNotInTheSuite) {
  SuiteWatcher watcher(std::vector<std::string>{root_});
  fs::rename(root_ / "below", outside_ / "below");
  write(outside_ / "below/gone.json");
  write(root_ / ".hidden.json");
  fs::create_directories(root_ / ".git");
  std::ofstream halfWritten(root_ / "half.json");
  write(root_ / "a.json");
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(root_ / "a.json", root_ / "below"));
  halfWritten.close();
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(root_ / "half.json"));
}

TEST_F(SuiteWatch, NoticesANamedFileThatIsReplacedAndWhatItsLinkLeadsTo) {
  write(outside_ / "real.json");
  fs::create_symlink(outside_ / "real.json", root_ / "a.json");
  SuiteWatcher watcher(std::vector<std::string>{root_ / "a.json"});
  write(outside_ / "real.json");
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(outside_ / "real.json"));
  write(outside_ / "new");
  watcher.changedPaths();
  fs::rename(outside_ / "new", root_ / "a.json");
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(outside_ / "new", root_ / "a.json"));
}

TEST_F(SuiteWatch, LosesNothingWhenTheSystemDropsEvents) {
  std::size_t mostQueued = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> mostQueued;
  SuiteWatcher watcher(std::vector<std::string>{root_});
  const fs::path files[] = {root_ / "a.json", root_ / "b.json"};  // two, for equal events become one
  for (const fs::path& file : files) write(file);
  for (std::size_t i = 0; i <= mostQueued; ++i) close(open(files[i % 2].c_str(), O_WRONLY));
  fs::create_directories(root_ / "new");
  while (!watcher.changedPaths().contains(root_)) continue;
  write(root_ / "new/c.json");
  EXPECT_THAT(watcher.changedPaths(), ElementsAre(root_ / "new/c.json"));
}

/// Does one thing each time the command waits: once it says that it watches, and after each run.
class Person : public std::stringbuf {
 public:
  explicit Person(std::vector<std::function<void()>> actions) : actions_(std::move(actions)) {}

 private:
  int sync() override {
    const std::string_view shown = view();
    const bool waits =
        shown.ends_with("Ctrl-C ends it.\n") || shown.ends_with(" failed\n") || shown.ends_with(" unusable\n");
    if (waits && shown.size() > read_ && next_ < actions_.size()) actions_[next_++]();
    read_ = shown.size();
    return 0;
  }
  std::vector<std::function<void()>> actions_;
  std::size_t next_ = 0;
  std::size_t read_ = 0;
};

std::string scenario(const std::string& name, const std::string& steps) {
  return R"({"name": ")" + name + R"(", "configuration": {"JWT_SECRET": "s"}, "steps": [)" + steps + "]}";
}

TEST_F(SuiteWatch, RunsAgainWhatChanged) {
  const fs::path b = root_ / "below/b.json";
  const std::string failing = R"({"expect": {"badge": 3}})";
  const std::string passing = R"({"expect": {"opened": []}})";
  const std::string naming = R"("launch", {"tap": {"payload": "../../outside/payload.json"}}, )" + passing;
  const std::string payload = R"({"aps": {"alert": "x"}})";
  write(outside_ / "payload.json", payload);
  write(root_ / "a.json", scenario("A", failing));
  write(b, scenario("B", passing));
  Person person({[&] { write(outside_ / "new", scenario("B", failing)), fs::rename(outside_ / "new", b); },
                 [&] { write(root_ / "notes.json"); },
                 [&] { fs::create_directories(root_ / "new"), write(root_ / "new/c.json", scenario("C", naming)); },
                 [&] { write(outside_ / "payload.json", "[]"); }, [&] { write(outside_ / "payload.json", payload); },
                 [&] { fs::remove(outside_ / "payload.json"); },
                 [&] { fs::remove_all(root_), fs::remove_all(outside_); }});
  std::ostream out(&person);
  std::ostringstream err;
  EXPECT_EQ(runCommandLine({"test", root_, "--watch"}, {.out = out, .err = err}), 2);
  EXPECT_THAT(err.str(), HasSubstr("nothing is left to watch"));
  const auto again = [](const fs::path& path) { return "Again: " + path.string() + "\n"; };
  const std::string c = again(root_ / "new/c.json");
  const std::string a = root_ / "a.json:1:74: badge: wanted 3, found (absent)\n";
  EXPECT_EQ(person.str(),
            a + "1 passed, 1 failed\nWatching " + root_.string() + "; Ctrl-C ends it.\n" + again(b) + b.string() +
                ":1:74: badge: wanted 3, found (absent)\n0 passed, 1 failed\n" +  //
                again(root_ / "notes.json") + "0 passed, 0 failed\n" + c + "1 passed, 0 failed\n" + c +
                "0 passed, 0 failed, 1 unusable\n" + c + "1 passed, 0 failed\n" + c +
                "0 passed, 0 failed, 1 unusable\n");
  EXPECT_THAT(err.str(), HasSubstr("payload.json: No such file or directory"));
  EXPECT_THAT(err.str(), HasSubstr(root_.string() + " was moved or removed; it is not watched any more"));
  EXPECT_THAT(err.str(), HasSubstr("payload.json:1:1: the content cannot be []"));
}

TEST_F(SuiteWatch, ASignalEndsIt) {
  write(root_ / "a.json", scenario("A", "\"launch\""));
  Person person({[] { kill(getpid(), SIGINT); }});
  std::ostream out(&person);
  EXPECT_EXIT(runCommandLine({"test", root_, "--watch"}, {.out = out, .err = out, .cleanUpOnSignal = cleanUpOnSignal}),
              KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace pellion

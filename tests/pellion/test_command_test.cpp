#include <gmock/gmock.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/run/temporary_directory.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;

/// Runs `pellion test` over files that it writes.
class TestCommand : public Test {
 protected:
  int run(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"test", root_};
    arguments.insert(arguments.end(), options.begin(), options.end());
    out_.str("");
    err_.str("");
    return runCommandLine(arguments, {.out = out_, .err = err_, .showsProgress = showsProgress_});
  }
  std::string write(const std::string& name, const std::string& text) {
    const std::filesystem::path path = root_ + "/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path;
  }
  /// Its steps are on line 2.
  std::string scenario(const std::string& file, const std::string& name, const std::string& steps = "\"launch\"") {
    return write(file, R"({"name": ")" + name + R"(", "configuration": {"JWT_SECRET": "s", "BEARER_TOKEN": "b"}, )" +
                           "\"steps\": [\n" + steps + "]}");
  }

  const TemporaryDirectory directory_;
  const std::string root_ = directory_.path() / "suite";
  const std::string failing_ = R"({"expect": {"badge": 3}})";
  std::ostringstream out_;
  std::ostringstream err_;
  bool showsProgress_ = false;
};

TEST_F(TestCommand, RunsAllScenariosAndShowsFailures) {
  scenario("good.json", "Good");
  scenario(".hidden/c.json", "Hidden", failing_);
  write("notes.txt", "{");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(out_.str() + err_.str(), "1 passed, 0 failed\n");

  const std::string bad = scenario("below/bad.json", "Bad", "\"launch\", {\"expect\": {\"opened\": [\"x:\"]}}");
  const std::string other = write("other.json", R"({"name": "Other"})");
  EXPECT_EQ(run({bad, root_}), 1);
  EXPECT_THAT(out_.str(), AllOf(StartsWith("Bad\n"), HasSubstr("✗ " + bad + ":2:22\n"), Not(HasSubstr("Good")),
                                EndsWith("not run: " + other + " has no \"steps\"\n1 passed, 1 failed\n")));

  const std::string broken = write("broken.json", "{\n \"steps\": [}");
  const std::string late = scenario("late.json", "Late", R"({"configure": {"JWT_SECRET": null}})");
  EXPECT_EQ(mkfifo((root_ + "/pipe.json").c_str(), 0600), 0);
  EXPECT_EQ(run({root_ + "/none.json"}), 2);
  EXPECT_THAT(out_.str(), EndsWith("1 passed, 1 failed, 4 unusable\n"));
  EXPECT_THAT(err_.str(), AllOf(HasSubstr("pellion: " + broken + ":2:12: not JSON: Invalid value"),
                                HasSubstr(late + ":2:1: the configuration cannot be used: JWT_SECRET is missing"),
                                HasSubstr("pipe.json: not a regular file"), HasSubstr("none.json: No such file")));
}

TEST_F(TestCommand, ReportsInTheOrderOfTheFilesForAnyOrderOfCompletion) {
  std::string verdicts;
  for (const std::string name : {"a", "b", "c", "d", "e", "f"}) {
    scenario(name + ".json", name, name == "a" ? R"("launch", {"token": "00"}, )" + failing_ : failing_);
    verdicts += ".*✗ " + name + "\n";
  }
  showsProgress_ = true;
  EXPECT_EQ(run({"--jobs", "4"}), 1);
  EXPECT_THAT(out_.str(), ContainsRegex(verdicts));
  EXPECT_THAT(err_.str(), AllOf(StartsWith("\r\x1b[K1 of 6, 1 not passed"), EndsWith("\r\x1b[K")));
}

TEST_F(TestCommand, WritesAReportForContinuousIntegration) {
  scenario("a.json", "<A> & \\\"b\\\"\\u0001\uFFFE");
  scenario("b.json", "B", failing_);
  write("c.json", R"({"steps": 7})");
  const std::string report = directory_.path() / "report.xml";
  EXPECT_EQ(run({"--junit", report}), 2);
  const std::string text = test::fileText(report);
  EXPECT_THAT(text, ContainsRegex(R"x( classname="[^"/]+\.suite\.a" time="[0-9]+\.[0-9]{6}")x"));
  const std::regex varying(R"x( (classname|time|timestamp|hostname|value)="[^"]+"|[^"> ]+/suite/)x");
  EXPECT_EQ(std::regex_replace(text, varying, ""), test::caseText("pellion/cases/report.xml"));
}

TEST_F(TestCommand, RejectsUnusableArguments) {
  const std::string good = scenario("a.json", "A");
  write("empty/other.json", "[]");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"test", root_ + "/empty"}, "/empty: no scenario is there; give"},
      {{"test", good, "--jobs", "0"}, "0 not in range 1 to 256"},
      {{"test", good, "--junit", root_ + "/./a.json"}, "this is the input " + good},
      {{"test", good, "--junit", root_ + "/no/report"}, "No such file or directory; give --junit a file"},
      {{"test", good, "--junit", "/dev/full"}, "not all of the report could be written"}};
  for (const auto& [arguments, text] : cases) {
    EXPECT_EQ(runCommandLine(arguments, {.out = out_, .err = err_}), 2) << text;
    EXPECT_THAT(err_.str(), HasSubstr(text));
  }
}

}  // namespace
}  // namespace pellion

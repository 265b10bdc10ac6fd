#include <gmock/gmock.h>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>

#include "pellion/backend/backend.h"
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
  std::string scenario(const std::string& file, const std::string& name,
                       const std::string& steps = R"("launch", {"expect": {"opened": []}})") {
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

  const std::string uncounted = R"("launch", {"deliver": {"addInfo": {"pellionPnID": 7}}})";
  const std::string silent = scenario("silent.json", "Silent", uncounted);
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("a notification with id 7"), EndsWith("1 passed, 1 failed\n")));
  EXPECT_EQ(run({"--no-strict"}), 0);
  EXPECT_THAT(out_.str(), AllOf(StartsWith("warning: " + silent + ":2:11: a notification with id 7 leads to no"),
                                HasSubstr("\nwarning: " + silent + ":2:1: the scenario expects nothing: "),
                                EndsWith("; add an \"expect\" step\n2 passed, 0 failed\n")));
  std::filesystem::remove(silent);

  const std::string bad = scenario("below/bad.json", "Bad", R"("launch", {"expect": {"opened": ["x:"], "badge": 3}})");
  const std::string other = write("other.json", R"({"name": "Other"})");
  const std::string end = bad + ":2:22: opened URL 1: wanted \"x:\", found (absent)\n" + bad +
                          ":2:22: badge: wanted 3, found (absent)\n1 passed, 1 failed\n";
  EXPECT_EQ(run({bad, root_}), 1);
  EXPECT_EQ(out_.str(), end);
  EXPECT_EQ(run({bad, root_, "--verbose"}), 1);
  EXPECT_THAT(out_.str(), AllOf(StartsWith("Bad\n"), HasSubstr("✗ Bad\n"), Not(HasSubstr("Good")), EndsWith(end),
                                HasSubstr("not run: " + other + " has no \"steps\"\n")));
  const std::string misspelt = write("misspelt.json", R"({"stpes": []})");
  EXPECT_EQ(run(), 2);
  EXPECT_THAT(err_.str(), HasSubstr(misspelt + ":1:2: a scenario has no \"stpes\"; did you mean \"steps\"?"));
  std::filesystem::remove(misspelt);

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
  EXPECT_EQ(run({"--jobs", "4", "--verbose"}), 1);
  EXPECT_THAT(out_.str(), ContainsRegex(verdicts));
  EXPECT_THAT(err_.str(), AllOf(StartsWith("\r\x1b[K1 of 6, 1 not passed"), EndsWith("\r\x1b[K")));
}

TEST_F(TestCommand, WritesAReportForContinuousIntegration) {
  scenario("a.json", "<A> & \\\"b\\\"\\u0001\uFFFE");
  scenario("b.json", "B", failing_);
  write("c.json", R"({"steps": 7})");
  const std::string report = directory_.path() / "report.xml";
  std::ofstream(report) << "older";
  std::filesystem::permissions(report, std::filesystem::perms(0640));
  std::filesystem::create_hard_link(report, report + ".link");
  EXPECT_EQ(run({"--junit", report}), 2);
  EXPECT_EQ(test::fileText(report + ".link"), "older") << "a reader of the older report sees it whole";
  EXPECT_EQ(std::filesystem::status(report).permissions(), std::filesystem::perms(0640));
  const std::string text = test::fileText(report);
  EXPECT_THAT(text,
              ContainsRegex(R"x( classname="[^"/]+\.suite\.a" file="/[^"]+/suite/a\.json" time="[0-9]+\.[0-9]{6}")x"));
  const std::regex varying(R"x( (classname|time|timestamp|hostname|value)="[^"]+"|[^"> ]+/suite/)x");
  EXPECT_EQ(std::regex_replace(text, varying, ""), test::caseText("pellion/cases/report.xml"));
}

TEST_F(TestCommand, AnUnreadableDirectoryIsOneFailure) {
  scenario("good.json", "Good");
  scenario("below/closed/a.json", "Closed");
  std::filesystem::permissions(root_ + "/below/closed", std::filesystem::perms::none);
  const auto runWithoutPrivileges = [&] {  // root may read anything
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capset, &header, none) != 0) _exit(99);
    const int status = run({"--filter", "good"});
    std::cerr << out_.str() << err_.str();
    _exit(status);
  };
  EXPECT_EXIT(runWithoutPrivileges(), ExitedWithCode(2),
              "1 passed, 0 failed, 1 unusable\npellion: .*/below/closed: Permission denied; give");
}

TEST_F(TestCommand, SelectsByPathOrName) {
  scenario("sale.json", "A day");
  scenario("day.json", "The big SALE", failing_);
  const std::string rest = scenario("rest.json", "Rest", failing_ + ", \"unknown\"");
  const std::string all = root_ + "/day.json\tThe big SALE\n" + root_ + "/sale.json\tA day\n";
  EXPECT_EQ(run({"--list"}), 2);
  EXPECT_EQ(out_.str(), all);
  EXPECT_THAT(err_.str(), HasSubstr(rest + ":2:27: there is no step \"unknown\""));
  EXPECT_EQ(run({"--list", "--filter", "sAle"}), 0);
  EXPECT_EQ(out_.str(), all);
  EXPECT_EQ(run({"--filter", "SALE.json"}), 0);
  EXPECT_EQ(out_.str(), "1 passed, 0 failed\n");
  EXPECT_EQ(run({"--filter", "rest"}), 2) << "a name is known in spite of errors";
}

TEST_F(TestCommand, StartsNoMoreAfterAFailure) {
  for (const std::string name : {"a", "b", "c", "d"})
    scenario(name + ".json", name, name == "b" ? failing_ : "\"launch\"");
  const std::string report = directory_.path() / "report.xml";
  EXPECT_EQ(run({"--fail-fast", "--jobs", "1", "--junit", report}), 1);
  EXPECT_THAT(out_.str(), EndsWith("1 passed, 1 failed, 2 not run\n"));
  EXPECT_THAT(test::fileText(report), AllOf(HasSubstr(R"(tests="4" failures="1" errors="0" skipped="2")"),
                                            ContainsRegex("d.json\"[^>]*>\n *<skipped/>")));
}

TEST_F(TestCommand, WritesTheFormatOfItsReader) {
  scenario("a,b:%.json", "50% #1\\\\::error::x", R"("launch", {"expect": {"badge": 3, "opened": ["x:"]}})");
  write("b.json", "{");
  write("c.json", "{}");
  scenario("d.json", "Good");
  const std::regex varying("[^\"\\s=:]+/suite/|[0-9]{12,}");
  for (const char* format : {"tap", "github"}) {
    EXPECT_EQ(run({"--reporter", format}), 2);
    EXPECT_EQ(std::regex_replace(out_.str(), varying, ""),
              test::caseText(std::string("pellion/cases/results.") + format));
    EXPECT_EQ(run({"--reporter", format, "--verbose"}), 2);
    EXPECT_THAT(out_.str(), HasSubstr("app           asks for a device token"));
  }
}

TEST_F(TestCommand, SendsToAServer) {
  Backend server({});
  scenario("a.json", "A",
           R"({"configure": {"DEVICE_ID": "d", "APP_VERSION_ID": "v", "PORTAL_ID": "p", "PROJECT_ID": "q"}}, "launch",
              {"token": "0aff"})");
  const std::string refused = scenario("b.json", "B", R"({"backend": {}})");
  EXPECT_EQ(run({"--server", server.url()}), 2);
  EXPECT_EQ(server.takeRequests().size(), 1U);
  EXPECT_THAT(err_.str(), HasSubstr(refused + ":2:1: \"backend\" cannot be used with --server"));
  EXPECT_THAT(out_.str(), EndsWith("1 passed, 0 failed, 1 unusable\n"));
}

TEST_F(TestCommand, RejectsUnusableArguments) {
  const std::string good = scenario("a.json", "A");
  write("empty/other.json", "[]");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"test", root_ + "/empty"}, "/empty: no scenario is there; give"},
      {{"test", good, "--jobs", "0"}, "0 not in range 1 to 256"},
      {{"test", good, "--filter", "none", "--junit", root_ + "/./a.json"}, "this is the input " + good},
      {{"test", good, "--junit", root_ + "/no/report"}, "No such file or directory; give --junit a file"},
      {{"test", good, "--junit", root_}, "Is a directory; give --junit a file"},
      {{"test", good, "--filter", "none"}, "no scenario there has \"none\" in its path or name; change --filter"},
      {{"test", good, "--reporter", "xml"}, "there is no xml; it is one of github, tap, text"},
      {{"test", "-", "--watch"}, "--watch cannot watch standard input; give"},
      {{"test", root_ + "/later", "--watch"}, "/later: No such file or directory; --watch needs"},
      {{"test", good, "--list", "--watch"}, "--list cannot be used with --watch"},
      {{"test", good, "--watch", "--reporter", "tap"}, "--watch cannot be used with --reporter"},
      {{"test", good, "--server", "http://127.0.0.1:1"}, "cannot be reached: Connection refused"},
      {{"test", good, "--junit", "/dev/full"}, "not all of the report could be written"}};
  for (const auto& [arguments, text] : cases) {
    EXPECT_EQ(runCommandLine(arguments, {.out = out_, .err = err_}), 2) << text;
    EXPECT_THAT(err_.str(), HasSubstr(text));
  }
}

}  // namespace
}  // namespace pellion

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/lab_server/browser.h"
#include "pellion/lab_server/lab_page.h"
#include "pellion/run/temporary_directory.h"
#include "tests/lab/lab_client.h"

namespace pellion {
namespace {

using namespace testing;

TEST(LabCommand, ServesThePageThatIsBuiltIn) {
  std::ostringstream out;
  std::ostringstream err;
  std::string script;
  const auto whileRunning = [&](const std::function<void()>& start) {
    start();
    const std::string port = test::between(out.str(), "127.0.0.1:", "/");
    const std::string location = "/?token=" + test::between(out.str(), "token=", " ");
    const auto reply = [&](const std::string& path, const std::string& cookie) {
      return test::LabClient(static_cast<std::uint16_t>(std::stoi(port)), "GET", path, {{"Cookie", cookie}}).readAll();
    };
    script = reply("/lab.js", test::between(reply(location, ""), "Set-Cookie: ", ";"));
  };
  const int status = runCommandLine({"lab"}, {.out = out, .err = err, .runUntilEnd = whileRunning});
  if (builtInLabPage().empty()) {
    EXPECT_EQ(status, 2);
    EXPECT_EQ(err.str(),
              "pellion: this build of pellion has no page; install nodejs and npm, then build it with ./run lab\n");
    return;
  }
  EXPECT_EQ(status, 0) << err.str();
  EXPECT_THAT(out.str(),
              MatchesRegex("The lab is at http://127.0.0.1:[0-9]+/[?]token=[0-9a-f]+ \\(Ctrl-C ends it\\)\n"));
  EXPECT_THAT(script, HasSubstr("Content-Type: text/javascript; charset=utf-8\r\n"));
}

/// Puts a program of its own in the place of xdg-open.
class BrowserOfTheUser : public Test {
 protected:
  BrowserOfTheUser() {
    setenv("PATH", (directory_.path().string() + ":" + path_).c_str(), 1);
    EXPECT_EQ(mkfifo(pipe_.c_str(), S_IRUSR | S_IWUSR), 0);
  }
  ~BrowserOfTheUser() override { setenv("PATH", path_.c_str(), 1); }

  void install(const std::string& script) const {
    const std::filesystem::path file = directory_.path() / "xdg-open";
    std::ofstream(file) << "#!/bin/sh\n" << script;
    permissions(file, std::filesystem::perms::owner_all);
  }

  const std::string path_ = std::getenv("PATH");
  const TemporaryDirectory directory_;
  const std::string pipe_ = directory_.path() / "pipe";
  std::ostringstream err_;
};

TEST_F(BrowserOfTheUser, ReceivesTheAddress) {
  install("printf '%s' \"$1\" > " + pipe_);
  const Browser browser("http://127.0.0.1/?token=1&x='", err_);
  std::ifstream opened(pipe_);
  std::string address;
  std::getline(opened, address);
  EXPECT_EQ(address, "http://127.0.0.1/?token=1&x='");
}

TEST_F(BrowserOfTheUser, MayFailLater) {
  install("exit 3");
  std::fstream err(pipe_);
  const Browser browser("http://127.0.0.1/", err);
  std::string line;
  std::getline(std::ifstream(pipe_), line);
  EXPECT_EQ(line,
            "pellion: the browser could not be opened: xdg-open has ended with status 3; open the address yourself");
}

TEST_F(BrowserOfTheUser, MayFailAndMayStayOpen) {
  setenv("PATH", directory_.path().c_str(), 1);
  { const Browser none("http://127.0.0.1/", err_); }
  EXPECT_THAT(err_.str(), HasSubstr("the browser could not be opened: xdg-open: No such file or directory; open the"));
  setenv("PATH", (directory_.path().string() + ":" + path_).c_str(), 1);
  err_.str("");
  install("read line < " + pipe_ + "; exit 3");
  auto browser = std::make_optional<Browser>("http://127.0.0.1/", err_);
  browser.reset();
  EXPECT_EQ(err_.str(), "");
  std::ofstream(pipe_) << "end\n";
}

}  // namespace
}  // namespace pellion

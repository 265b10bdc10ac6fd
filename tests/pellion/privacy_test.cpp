// What the command shows, writes and leaves in files, and what it must not.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/json_writer.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;

class Privacy : public Test {
 protected:
  /// All that the command shows and writes.
  std::string run(const std::vector<std::string>& arguments, int status) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(runCommandLine(arguments, {.out = out, .err = err}), status) << out.str() << err.str();
    return out.str() + err.str() + test::fileText(trace_) + test::fileText(report_);
  }
  std::string write(const std::string& text) {
    std::ofstream(scenario_) << text;
    return scenario_;
  }

  TemporaryDirectory directory_;
  const std::string scenario_ = directory_.path() / "s.json";
  const std::string trace_ = directory_.path() / "trace";
  const std::string report_ = directory_.path() / "report";
};

/// Shown are a secret's first four characters at most.
const auto isWithoutSecrets = AllOf(Not(HasSubstr("-alpha")), Not(HasSubstr("-omega")));
const std::string bearer = R"(bear-alpha\"\\ü <&>/+%41)";  // as it stands in JSON
const std::string secret = R"(sign-omega\"\\ü <&>/+%41)";

const std::string ownConfiguration =
    R"("configuration": {"BEARER_TOKEN": ")" + bearer + R"(", "JWT_SECRET": ")" + secret + "\"}";

TEST_F(Privacy, NoOutputShowsASecretFromAnyPlace) {
  const std::string file = PELLION_SOURCE_DIR "/tests/pellion/cases/secrets_everywhere.json";
  const std::string played = run({"run", file, "--log", "--trace", trace_}, 1);
  EXPECT_THAT(played, AllOf(isWithoutSecrets, HasSubstr("Http headers"), HasSubstr("next… (16 characters)"),
                            HasSubstr("bear… (2"), HasSubstr("sign… (2")));
  EXPECT_THAT(run({"test", file, "--junit", report_}, 1), AllOf(isWithoutSecrets, HasSubstr("<failure")));
}

TEST_F(Privacy, NoErrorShowsASecretInTheWrongPlace) {
  const std::string long_ = "\"" + bearer + std::string(60, 'x') + "\"";
  const auto with = [](const std::string& steps) {
    return R"({"name": "N", )" + ownConfiguration + R"(, "steps": [)" + steps + "]}";
  };
  const std::string broken[] = {
      R"({"name": "N", "configuration": ["BEARER_TOKEN", "x-alpha"], "steps": []})",
      R"({"name": "N", "configuration": {"BEARER_TOKEN": ["x-alpha"], "JWT_SECRET": "s"}, "steps": []})",
      R"({"name": "N", "configuration": {"JWT_SECRET": "x-alpha\n"}, "steps": []})",
      R"({"name": "N", "configuration": {"JWT_SECRETS": "x-alpha"}, "steps": []})",
      R"({"name": "N", "configuration": {"JWT_SECRET": "x-alpha)",
      with("\"" + bearer + "\""),
      with(R"({"say": [")" + secret + "\"]}"),
      with("{\"token\": " + long_ + "}, {\"say\": {\"JWT_SECRET\":" + long_ + "}}"),
      with(R"({"configure": "x-alpha"})"),
      with(R"({"backend": {")" + bearer + "\": 7}}"),
      with(R"({"expect": {"requests": [{"headers": "Authorization: Bearer x-alpha"}]}})"),
  };
  for (const std::string& text : broken) {
    const std::string file = write(text);
    EXPECT_THAT(run({"run", file}, 2), AllOf(isWithoutSecrets, HasSubstr("s.json:")));
    EXPECT_THAT(run({"test", file, "--junit", report_}, 2), AllOf(isWithoutSecrets, HasSubstr("<error")));
  }
  EXPECT_THAT(run({"backend", "--secert", "x-alpha"}, 2),
              AllOf(isWithoutSecrets, HasSubstr("not expected: --secert; did you mean --secret")));
  EXPECT_THAT(run({"backend", "--secert=x-alpha"}, 2), isWithoutSecrets);
}

TEST_F(Privacy, NoOutputShowsASecretOfASharedConfiguration) {
  const std::string entries = R"({"BEARER_TOKEN": ")" + bearer + R"(", "JWT_SECRET": ")" + secret + "\"";
  std::ofstream(directory_.path() / "c.json") << entries << ", \"DEVICE_ID\": \"d\", \"APP_VERSION_ID\": \"v\"}";
  std::ofstream(directory_.path() / "wrong.json") << entries << ", \"GZPI\": \"" << bearer << "\"}";
  const auto with = [](const std::string& file, const std::string& step) {
    return R"({"name": "N", "configuration": ")" + file + R"(", "steps": ["launch", {"token": "00"}, )" + step + "]}";
  };
  EXPECT_THAT(run({"run", write(with("c.json", "{\"say\": \"" + bearer + secret + "\"}")), "--trace", trace_}, 0),
              AllOf(isWithoutSecrets, HasSubstr("Bearer bear")));
  std::ofstream(directory_.path() / "p.json") << R"({"aps": {}, "BEARER_TOKEN": "file-omega"})";
  EXPECT_THAT(run({"run", write(with("c.json", R"({"deliver": {"payload": "p.json"}}, {"say": "file-omega"})")),
                   "--trace", trace_},
                  0),
              AllOf(Not(HasSubstr("file-omega")), HasSubstr("file… (10 characters)")));
  EXPECT_THAT(run({"run", write(with("c.json", "{\"" + bearer + "\": 7}"))}, 2), isWithoutSecrets);
  EXPECT_THAT(run({"run", write(with("wrong.json", "\"activate\""))}, 2),
              AllOf(isWithoutSecrets, HasSubstr("did you mean GZIP?")));
}

TEST_F(Privacy, OutputFilesAreReadableOnlyByTheirOwnerForAnyUmask) {
  const auto rights = [](const std::string& path) { return std::filesystem::status(path).permissions(); };
  const mode_t umaskBefore = umask(0);
  const std::string file = write(R"({"name": "N", )" + ownConfiguration + R"(, "steps": ["launch"]})");
  run({"run", file, "--trace", trace_}, 0);
  run({"test", file, "--junit", report_}, 0);
  umask(umaskBefore);
  EXPECT_EQ(rights(trace_), std::filesystem::perms(0600));
  EXPECT_EQ(rights(report_), std::filesystem::perms(0644));
  EXPECT_EQ(rights(directory_.path()) & std::filesystem::perms(0777), std::filesystem::perms(0700));
}

TEST_F(Privacy, NothingIsStoredOutsideTheStorage) {
  const std::filesystem::path temporary = directory_.path() / "a" / "b";
  std::filesystem::create_directories(temporary);
  setenv("TMPDIR", temporary.c_str(), 1);
  const std::string groups[] = {"../../../escape", "..", directory_.path().string() + "/escape", "a/../../../escape"};
  for (const std::string& group : groups) {
    const std::string file =
        write(R"({"name": "N", "configuration": {"JWT_SECRET": "s", "APP_GROUP": )" + compactJSON(group) + R"(},
      "steps": [{"extension": {"leaves": [1]}}, "launch", {"badge": {"count": 3}}, {"expect": {"badge": 3}}]})");
    run({"run", file}, 0);
  }
  unsetenv("TMPDIR");
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
    left.push_back(entry.path().filename());
  }
  EXPECT_THAT(left, UnorderedElementsAre("s.json", "a", "b"));
}

}  // namespace
}  // namespace pellion

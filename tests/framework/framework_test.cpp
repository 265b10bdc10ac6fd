// Runs the cases that are written in Objective-C.

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/framework/cases.h"
#include "tests/support/temporary_directory.h"

void PrintTo(const framework_Case& each, std::ostream* out);
void PrintTo(const framework_Case& each, std::ostream* out) { *out << each.name; }

namespace {

class FrameworkTest : public testing::TestWithParam<framework_Case> {};

TEST_P(FrameworkTest, passes) {
  const framework_Case& each = GetParam();
  const auto run = [&] {
    each.run();
    std::_Exit(framework_failures() == 0 ? 0 : 1);  // the runtime's own objects stay
  };
  if (each.lastWords != nullptr) {
    EXPECT_DEATH(run(), each.lastWords);
  } else {
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), each.logged != nullptr ? each.logged : "");
  }
}

/// What a program writes, errors included, and how it ends: "... ends with 0".
std::string outputOf(const std::string& command) {
  std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
  std::string output;
  std::array<char, 4096> part{};
  for (std::size_t size = 1; size > 0; output.append(part.data(), size)) {
    size = std::fread(part.data(), 1, part.size(), pipe);
  }
  return output + "ends with " + std::to_string(::pclose(pipe));
}

std::size_t countOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(BareProgram, NamesEachMissingPartOnceAndGoesOn) {
  const std::string output = outputOf(PELLION_BARE);
  for (const char* part : {"class QVSystemProperties", "class QVFileManager", "class QVSystemInfo",
                           "class QVKeyChainWrapper", "function QLogExtensionInternal", "function QLogExtension\n"}) {
    EXPECT_EQ(countOf(std::string("the core library has no ") + part, output), 1U) << part << '\n' << output;
  }
  EXPECT_THAT(output, testing::EndsWith("id 7, badge 0\nends with 0"));
}

TEST(BareProgram, LogsWithTheFunctionThatIsThere) {
  const std::string output = outputOf(PELLION_BARE_WITH_ONE_LOG);
  EXPECT_THAT(output, testing::HasSubstr("pellion-log: Push notification JSON payload"));
  EXPECT_EQ(countOf("pellion-warning: the core library has no function QLogExtension\n", output), 1U) << output;
  EXPECT_EQ(countOf("no function QLogExtensionInternal", output), 0U) << output;
}

TEST(BareProgram, NamesTheMissingConfigurationOnce) {
  const std::string output = outputOf(PELLION_BARE_WITH_CORE_LIBRARY);
  EXPECT_EQ(countOf("has no PellionInfo.plist, so the library's classes return nil; add it", output), 1U) << output;
  EXPECT_THAT(output, testing::EndsWith("id 7, badge 0\nends with 0"));
}

TEST(BareProgram, GoesOnWhenTheDefaultsCannotBeWritten) {
  const test::TemporaryDirectory directory;
  const std::string configuration = directory.path() / "PellionInfo.plist";
  std::ofstream(configuration) << R"(<plist version="1.0"><dict><key>SERVER_URL</key><string>http://127.0.0.1:1</string>
      <key>JWT_SECRET</key><string>not-a-secret</string><key>APP_GROUP</key><string>group.shop</string></dict></plist>)";
  const std::string settings = directory.path() / "GNUstep.conf";
  std::ofstream(settings) << "GNUSTEP_USER_DEFAULTS_DIR=/proc/nowhere\n";
  std::filesystem::permissions(settings, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  const std::string output =
      outputOf("GNUSTEP_CONFIG_FILE=" + settings + " " + PELLION_BARE_WITH_CORE_LIBRARY + " " + configuration);
  EXPECT_EQ(countOf("the folder of the user defaults, /proc/nowhere, cannot be written", output), 1U) << output;
  EXPECT_THAT(output, testing::EndsWith("id 7, badge 3\nends with 0"));
}

std::vector<framework_Case> allIn(const framework_Case* cases) {
  std::vector<framework_Case> all;
  for (; cases->name != nullptr; ++cases) all.push_back(*cases);
  return all;
}

std::string nameOf(const testing::TestParamInfo<framework_Case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Face, FrameworkTest, testing::ValuesIn(allIn(framework_faceCases)), nameOf);
INSTANTIATE_TEST_SUITE_P(Conflicts, FrameworkTest, testing::ValuesIn(allIn(framework_conflictCases)), nameOf);
INSTANTIATE_TEST_SUITE_P(BadCases, FrameworkTest, testing::ValuesIn(allIn(framework_badCases)), nameOf);
INSTANTIATE_TEST_SUITE_P(Library, FrameworkTest, testing::ValuesIn(allIn(framework_coreLibraryCases)), nameOf);

}  // namespace

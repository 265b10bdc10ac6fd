// The table of differences is true of this program, which is the host's and so has all tests of its folder.

#include "tests/contract/differences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct NamedTest {
  std::string name;
  bool isOfTheHost;  ///< not built for another backend
};

std::vector<NamedTest> allTests() {
  std::vector<NamedTest> all;
  const testing::UnitTest& program = *testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      const testing::TestInfo& test = *suite.GetTestInfo(j);
      const bool isOfTheHost = std::string_view(test.file()).find("/host/") != std::string_view::npos;
      all.push_back({std::string(suite.name()) + "." + test.name(), isOfTheHost});
    }
  }
  return all;
}

TEST(Differences, NameTestsThatExistAndTheirReason) {
  const auto all = allTests();
  for (const test::Difference& each : test::differences) {
    if (each.folder != PELLION_TEST_FOLDER) continue;
    EXPECT_TRUE(std::ranges::any_of(all, [&](const auto& test) { return test::matches(each.test, test.name); }))
        << each.test;
    EXPECT_TRUE(each.skippedBy == "host" || each.skippedBy == "foundation") << each.test;
    EXPECT_STRNE(each.reason, "") << each.test;
  }
}

TEST(Differences, NameEachTestThatIsBuiltForTheHostAlone) {
  for (const NamedTest& test : allTests()) {
    if (!test.isOfTheHost) continue;
    EXPECT_TRUE(std::ranges::any_of(test::differences, [&](const test::Difference& each) {
      return each.folder == PELLION_TEST_FOLDER && each.skippedBy == "foundation" &&
             test::matches(each.test, test.name);
    })) << test.name;
  }
}

}  // namespace

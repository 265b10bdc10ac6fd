#pragma once

#include <gtest/gtest.h>

#include "tests/contract/differences.h"
#include "tests/support/platform_process.h"

namespace test {

/// Skips a test that the table of differences names for this backend, and prints the reason.
template <class Base = testing::Test>
class SkipsDifferences : public Base {
 protected:
  void SetUp() override {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    const char* const reason = differenceOf(info->test_suite_name(), info->name());
    if (reason != nullptr) GTEST_SKIP() << reason;
  }
};

/// A test of what a platform does.
class Contract : public SkipsDifferences<> {
 protected:
  PlatformProcess process;
};

}  // namespace test

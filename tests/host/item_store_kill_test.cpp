#include <gmock/gmock.h>

#include "tests/support/killed_writers.h"

namespace {

using namespace testing;

TEST(KilledWriters, LoseNoValueAndLeaveNoTornOne) {
  // In memory, where there is no disk to wait for: a kill loses nothing that was written.
  const std::filesystem::path memory = "/dev/shm";
  const std::filesystem::path parent = exists(memory) ? memory : std::filesystem::temp_directory_path();
  const test::KilledWriters::Counts counts = test::KilledWriters(parent, 1).run(100);
  EXPECT_EQ(counts.kills, 100U);
  EXPECT_EQ(counts.lost, 0U);
  EXPECT_EQ(counts.torn, 0U);
  EXPECT_EQ(counts.left, 0U);
  EXPECT_THAT(counts.problems, IsEmpty());
  EXPECT_GT(counts.stored, 100U);
  EXPECT_GT(counts.halfDone, 20U) << "kills must come in the midst of it";
}

}  // namespace

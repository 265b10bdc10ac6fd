#include "platform/block.h"

#include <gtest/gtest.h>

#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace test;
using platform::Block;

TEST(BlockObject, HasOneIdentityAndOneCapturedState) {
  const TestProcess process;
  const Block<int(int)> block([sum = 0](int number) mutable { return sum += number; });
  const Block<int(int)> copy = block;
  EXPECT_EQ(block(3), 3);
  EXPECT_EQ(copy(4), 7);
  EXPECT_EQ(block.get(), copy.get());
  const platform::Strong copied = platform::Strong::adopt(platform::send<id()>(blockId(block.get()), sel("copy")));
  EXPECT_EQ(copied.get(), blockId(block.get())) << "copying a block on the heap retains it";
}

TEST(BlockObject, ReleasesWhatItCapturedWithItsLastReference) {
  const TestProcess process;
  int deaths = 0;
  auto block = std::make_unique<Block<void()>>([kept = platform::makeObject<Mortal>(&deaths)] {});
  auto pointer = std::make_unique<Block<void()>>(block->get());
  block.reset();
  EXPECT_EQ(deaths, 0);
  pointer.reset();
  EXPECT_EQ(deaths, 1);
}

TEST(BlockObject, PlacesStateAsItsAlignmentAsks) {
  const TestProcess process;
  struct alignas(std::max_align_t) Aligned {
    bool isAligned() const { return reinterpret_cast<std::uintptr_t>(this) % alignof(Aligned) == 0; }
  };
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(Block<bool()>([aligned = Aligned()] { return aligned.isAligned(); })());
}

}  // namespace

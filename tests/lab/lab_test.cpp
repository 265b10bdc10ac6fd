#include "pellion/lab/lab.h"

#include <gmock/gmock.h>

namespace pellion {
namespace {

TEST(Lab, EndsThePhonesThatNoPageUses) {
  Lab lab;
  const std::string unused = lab.open(R"({"steps": []})", std::nullopt);
  const std::string used = lab.open(R"({"steps": []})", std::nullopt);
  lab.closeIdle(lab.phone(unused)->lastUse() + Lab::longestIdle);
  const std::shared_ptr<LabPhone> ended = lab.phone(unused);
  ASSERT_NE(ended, nullptr);
  lab.phone(used)->isUsed();
  lab.closeIdle(ended->lastUse() + Lab::longestIdle + std::chrono::nanoseconds(1));
  EXPECT_EQ(lab.phone(unused), nullptr);
  EXPECT_NE(lab.phone(used), nullptr);
  EXPECT_FALSE(ended->messages().after(1'000'000, 1, std::chrono::hours(1))) << "its page is not left waiting";
  EXPECT_FALSE(lab.close(unused));
}

TEST(Lab, MakesRoomForAPageInPlaceOfTheLongestUnusedPhone) {
  Lab lab;
  const auto open = [&](auto... now) { return lab.open(R"({"steps": []})", std::nullopt, now...); };
  const std::string first = open();
  const std::string second = open();
  lab.phone(first)->isUsed();
  while (true) {
    try {
      open();
    } catch (const Lab::TooManyPhones&) {
      break;
    }
  }
  const auto last = lab.phone(second)->lastUse();
  EXPECT_THROW(open(last + Lab::longestIdleWhenFull - std::chrono::nanoseconds(1)), Lab::TooManyPhones);
  open(last + Lab::longestIdleWhenFull);
  EXPECT_EQ(lab.phone(second), nullptr);
  EXPECT_NE(lab.phone(first), nullptr);
}

}  // namespace
}  // namespace pellion

// The main queue and groups of work.

#include <gmock/gmock.h>

#include <thread>

#include "platform/class_face.h"
#include "platform/dispatch.h"
#include "tests/contract/contract.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class Dispatch : public test::Contract {
 protected:
  std::function<void()> note(const char* name) {
    return [this, name] { order.emplace_back(name); };
  }
  bool runUntil(std::size_t count) {
    return process.runUntil([&] { return order.size() >= count; });
  }
  std::vector<std::string> order;
};

TEST_F(Dispatch, RunsWorkLaterInTheOrderOfTheCalls) {
  platform::dispatchAsyncOnMainQueue([&] {
    order.emplace_back("a");
    platform::dispatchAsyncOnMainQueue(note("nested"));
  });
  platform::dispatchAsyncOnMainQueue(note("b"));
  EXPECT_THAT(order, IsEmpty());
  EXPECT_TRUE(runUntil(3));
  EXPECT_THAT(order, ElementsAre("a", "b", "nested"));
}

TEST_F(Dispatch, RunsDelayedWorkInTheOrderOfItsTime) {
  platform::dispatchAfterOnMainQueue(300ms, note("c"));
  platform::dispatchAfterOnMainQueue(100ms, note("b"));
  platform::dispatchAsyncOnMainQueue(note("a"));
  EXPECT_TRUE(runUntil(3));
  EXPECT_THAT(order, ElementsAre("a", "b", "c"));
}

TEST_F(Dispatch, TakesWorkFromOtherThreadsAndRunsItOnTheMainThread) {
  const std::thread::id main = std::this_thread::get_id();
  std::thread([&] {
    const test::OtherThread scope(process);
    platform::dispatchAsyncOnMainQueue(
        [&] { order.emplace_back(std::this_thread::get_id() == main ? "main" : "not"); });
  }).join();
  EXPECT_TRUE(runUntil(1));
  EXPECT_THAT(order, ElementsAre("main"));
}

TEST_F(Dispatch, NotifiesOfAnEmptyGroupLater) {
  const platform::DispatchGroup group;
  group.notifyOnMainQueue(note("notified"));
  EXPECT_THAT(order, IsEmpty()) << "never inside the call";
  EXPECT_TRUE(runUntil(1));
}

TEST_F(Dispatch, NotifiesOnceWhenTheLastOneHasLeftTheGroup) {
  const platform::DispatchGroup group;
  const platform::DispatchGroup same = group;
  group.enter();
  same.enter();
  group.notifyOnMainQueue(note("notified"));
  group.leave();
  platform::dispatchAsyncOnMainQueue(note("turned"));
  EXPECT_TRUE(runUntil(1));
  group.leave();
  group.enter();
  group.leave();
  platform::dispatchAsyncOnMainQueue(note("turned"));
  EXPECT_TRUE(runUntil(3));
  EXPECT_THAT(order, ElementsAre("turned", "notified", "turned"));
}

TEST_F(Dispatch, LeavingAGroupOnceTooOftenIsAProgrammingError) {
  EXPECT_EQ(test::programmingErrorIn([] { platform::DispatchGroup().leave(); }),
            "a dispatch group was left more often than it was entered");
}

}  // namespace

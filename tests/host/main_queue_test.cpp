#include "host/phone/main_queue.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

namespace {

using namespace testing;
using namespace std::chrono_literals;

class VirtualQueue : public Test {
 protected:
  auto note(const char* name) {
    return [this, name] { order_.push_back(name + std::string("@") + std::to_string(clock_.now() / 1s)); };
  }

  host::Clock clock_{host::Clock::Kind::virtualTime};
  host::MainQueue queue_{clock_};
  std::vector<std::string> order_;
};

TEST_F(VirtualQueue, runsWorkInOrderOfItsTimeThenOfItsArrival) {
  queue_.after(3s, note("c"));
  queue_.after(1s, [this] { queue_.after(1s, note("nested")); });
  queue_.after(1s, note("b"));
  queue_.async(note("a"));
  queue_.after(3s, note("d"));
  EXPECT_THAT(order_, IsEmpty());
  queue_.advance(2s);
  EXPECT_THAT(order_, ElementsAre("a@0", "b@1", "nested@2"));
  queue_.advance(3s);
  EXPECT_THAT(order_, ElementsAre("a@0", "b@1", "nested@2", "c@3", "d@3"));
  EXPECT_EQ(clock_.now(), 5s);
}

TEST_F(VirtualQueue, stopsTimeDuringOutsideWork) {
  queue_.after(3s, note("timer"));
  queue_.beginOutsideWork();
  std::thread outside([this] {
    queue_.async(note("answer"));
    queue_.endOutsideWork();
  });
  queue_.advance(3s);
  outside.join();
  EXPECT_THAT(order_, ElementsAre("answer@0", "timer@3"));
}

TEST_F(VirtualQueue, notifiesAThreadThatServesManyQueuesOfWorkThatIsDueFirst) {
  int wakes = 0;
  queue_.onWork([&] {
    ++wakes;
    EXPECT_TRUE(queue_.nextDue());  // would hang under its lock
  });
  EXPECT_EQ(queue_.nextDue(), std::nullopt);
  struct Case {
    std::chrono::seconds delay;
    std::chrono::seconds next;
    int wakes;
  };
  for (const auto& [delay, next, expected] : {Case{3s, 3s, 1}, Case{5s, 3s, 1}, Case{3s, 3s, 1}, Case{1s, 1s, 2}}) {
    queue_.after(delay, [] {});
    EXPECT_EQ(queue_.nextDue(), next);
    EXPECT_EQ(wakes, expected);
  }
  queue_.advance(4s);
  EXPECT_EQ(queue_.nextDue(), 5s);
  queue_.close();
  EXPECT_EQ(queue_.nextDue(), std::nullopt);
}

}  // namespace

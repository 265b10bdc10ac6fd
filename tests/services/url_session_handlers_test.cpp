#include "tests/services/url_session_fixture.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <thread>

namespace {

using namespace test;
using namespace testing;

TEST_F(URLSessionTest, RunsHandlersOneByOneInTheOrderOfCompletion) {
  std::promise<void> secondIsDone;
  LoopbackServer server([&](const LoopbackServer::Request& seen) {
    if (seen.head.starts_with("GET /1")) secondIsDone.get_future().wait();
    return LoopbackServer::Reply{plainOK};
  });
  std::vector<int> order;  // unguarded: the session's queue is
  const auto shared = session();
  for (const int number : {1, 2}) {
    const auto task = shared->dataTaskWithRequest(request(server.url("/" + std::to_string(number))),
                                                  [&, number, main = std::this_thread::get_id()](const auto&...) {
                                                    EXPECT_NE(std::this_thread::get_id(), main);
                                                    EXPECT_EQ(&host::Process::current(), &process());
                                                    order.push_back(number);
                                                    if (number == 2) secondIsDone.set_value();
                                                  });
    task->setPriority(platform::URLSessionTaskPriorityLow);
    task->resume();
    task->resume();
  }
  process().mainQueue().advance(std::chrono::hours(1));
  EXPECT_THAT(order, ElementsAre(2, 1));
}

TEST_F(URLSessionTest, RunsHandlersOfDifferentSessionsConcurrently) {
  LoopbackServer server(always(plainOK));
  std::promise<void> promises[2];
  for (int own = 0; own < 2; ++own) {
    resume(request(server.url("/")), [&, own](const auto&...) {
      promises[own].set_value();
      promises[1 - own].get_future().wait();
    });
  }
  process().mainQueue().runUntilIdle();
}

TEST_F(URLSessionTest, EndingAProcessReleasesItsHandlersUnrun) {
  std::promise<void> arrived;
  LoopbackServer server([&](const auto&) {
    arrived.set_value();
    return LoopbackServer::Reply{"", LoopbackServer::Then::hold};
  });
  auto captured = std::make_shared<int>();
  const std::weak_ptr<int> watched = captured;
  resume(request(server.url("/")), [captured = std::move(captured)](const auto&...) { ADD_FAILURE(); });
  arrived.get_future().wait();
  process_.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(URLSessionTest, EndingAProcessWaitsForARunningHandlerAndCancelsWhatItStarts) {
  LoopbackServer server(always(plainOK));
  std::promise<void> entered;
  std::atomic<bool> isOver = false;
  resume(request(server.url("/")), [&](const auto&...) {
    entered.set_value();
    for (int i = 0; i < 20; ++i) {
      const auto next = platform::URLSession::sessionWithDefaultConfiguration();
      next->dataTaskWithRequest(request(server.url("/")), [](const auto&...) {})->resume();
    }
    isOver = true;
  });
  entered.get_future().wait();
  process_.reset();
  EXPECT_TRUE(isOver);
}

TEST_F(URLSessionTest, RejectsRequestsOfAnEndedProcessUntilItIsRemoved) {
  LoopbackServer server(always(plainOK));
  network_->endRequests(process());
  auto captured = std::make_shared<int>();
  const std::weak_ptr<int> watched = captured;
  resume(request(server.url("/")), [captured = std::move(captured)](const auto&...) { ADD_FAILURE(); });
  EXPECT_TRUE(watched.expired());
  process().mainQueue().advance(std::chrono::hours(1));
  EXPECT_TRUE(server.requests().empty());
  network_->forget(process());
  EXPECT_EQ(load(request(server.url("/"))).body, "{}");
}

TEST_F(URLSessionTest, LeavesNothingBehindWhenItEndsAtAnyMoment) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return std::distance(begin(open), end(open));
  };
  network_.reset();
  const auto before = descriptors();
  std::optional<LoopbackServer> server([](const LoopbackServer::Request& seen) {
    const bool answers = seen.head.starts_with("GET /even");
    return answers ? LoopbackServer::Reply{plainOK} : LoopbackServer::Reply{"", LoopbackServer::Then::hold};
  });
  for (int round = 0; round < 20; ++round) {
    network_.emplace();
    for (int i = 0; i < 8; ++i) {
      resume(request(server->url(i % 2 == 0 ? "/even" : "/odd")), [](const auto&...) {});
      if (i == round) std::this_thread::yield();
    }
    process_.reset();
    network_.reset();
  }
  server.reset();
  EXPECT_EQ(descriptors() - before, 0);
}

/// While it exists, no thread can be made: none has room for such a stack.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&former_);
    pthread_attr_t huge = former_;
    pthread_attr_setstacksize(&huge, std::size_t{1} << 46U);
    pthread_setattr_default_np(&huge);
  }
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;
  ~NoThreads() {
    pthread_setattr_default_np(&former_);
    pthread_attr_destroy(&former_);
  }

 private:
  pthread_attr_t former_{};
};

TEST_F(URLSessionTest, RequestsFailWhileNoThreadCanBeMadeAndLaterOnesAreSent) {
  LoopbackServer server(always(plainOK));
  {
    const NoThreads scope;
    int runs = 0;
    resume(request(server.url("")), [&](const auto*, const auto*, const platform::Error* error) {
      ++runs;
      ASSERT_NE(error, nullptr);
      EXPECT_THAT(error->localizedDescription, HasSubstr("no thread can be made"));
    });
    EXPECT_EQ(runs, 0);  // never inside the call
    process().mainQueue().runUntilIdle();
    EXPECT_EQ(runs, 1);
  }
  EXPECT_EQ(load(request(server.url(""))).body, "{}");
}

}  // namespace

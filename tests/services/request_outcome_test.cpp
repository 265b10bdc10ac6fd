// What the owner of requests learns of each of them.

#include "services/url_loading/request_outcome.h"

#include <gmock/gmock.h>

#include <future>
#include <map>

#include "tests/services/url_session_fixture.h"

namespace {

using namespace test;
using namespace testing;
using services::RequestOutcome;

class RequestOutcomes : public URLSessionTest {
 protected:
  RequestOutcomes() {
    outcomes_ = [this](const platform::URLRequest& made, const RequestOutcome& outcome) {
      const std::lock_guard lock(mutex_);
      outcomes_of_[made.url ? std::string(made.url->absoluteString()) : ""].push_back(outcome);
    };
  }
  /// Of the request with this URL, which has ended exactly once.
  RequestOutcome only(const std::string& url) {
    const std::lock_guard lock(mutex_);
    EXPECT_EQ(outcomes_of_[url].size(), 1U) << url;
    return outcomes_of_[url].empty() ? RequestOutcome() : outcomes_of_[url].front();
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::vector<RequestOutcome>> outcomes_of_;
};

TEST_F(RequestOutcomes, DescribeEachRequestOnceBeforeItsHandler) {
  struct Case {
    const char* path;
    std::string answer;
    LoopbackServer::Then then;
    RequestOutcome expected;
  };
  using Then = LoopbackServer::Then;
  const std::string coded = gzip(R"({"a":1})");
  const Case cases[] = {
      {"/accepted", plainOK, Then::close, {.status = 200, .receivedBytes = 2, .isJSON = true}},
      {"/coded",
       LoopbackServer::answer("200 OK", coded, "Content-Encoding: gzip\r\n"),
       Then::close,
       {.status = 200, .receivedBytes = coded.size(), .isJSON = true}},
      {"/text", LoopbackServer::answer("200 OK", "yes"), Then::close, {.status = 200, .receivedBytes = 3}},
      {"/refused", LoopbackServer::answer("503 Busy", "{}"), Then::close, {.status = 503, .receivedBytes = 2}},
      {"/reset", "", Then::reset, {.errorCode = -1005}},
  };
  LoopbackServer server([&](const LoopbackServer::Request& seen) {
    for (const Case& each : cases) {
      if (seen.head.starts_with("GET " + std::string(each.path) + " "))
        return LoopbackServer::Reply{each.answer, each.then};
    }
    return LoopbackServer::Reply{LoopbackServer::answer("302 Found", "", "Location: /accepted\r\n")};
  });
  const auto expectOutcome = [&](const std::string& url, const RequestOutcome& expected) {
    const RequestOutcome outcome = only(url);
    EXPECT_EQ(outcome.status, expected.status) << url;
    EXPECT_EQ(outcome.errorCode, expected.errorCode) << url;
    EXPECT_FALSE(outcome.isCancelled) << url;
    EXPECT_EQ(outcome.receivedBytes, expected.receivedBytes) << url;
    EXPECT_EQ(outcome.isJSON, expected.isJSON) << url;
    EXPECT_GE(outcome.total, outcome.connecting + outcome.answering) << url;
    EXPECT_GT(outcome.total.count(), 0) << url;
  };
  for (const Case& each : cases) {
    const std::string url = server.url(each.path);
    resume(request(url), [&](const auto&...) { expectOutcome(url, each.expected); });
    process().mainQueue().runUntilIdle();
    expectOutcome(url, each.expected);
  }
  EXPECT_GT(only(server.url("/accepted")).connecting.count(), 0);
  EXPECT_GT(only(server.url("/accepted")).answering.count(), 0);
  load(request("http://backend.example/"));  // never sent
  expectOutcome("http://backend.example/", {.errorCode = -1022});
  load(request(server.url("/redirected?")));
  EXPECT_THAT(server.requests(), SizeIs(std::size(cases) + 2));
}

TEST_F(RequestOutcomes, IncludeRequestsThatAProcessLosesOrMayNoLongerMake) {
  std::promise<void> arrived;
  LoopbackServer server([&](const auto&) {
    arrived.set_value();
    return LoopbackServer::Reply{"", LoopbackServer::Then::hold};
  });
  resume(request(server.url("/lost")), [](const auto&...) { ADD_FAILURE(); });
  arrived.get_future().wait();
  network_->endRequests(process());
  resume(request(server.url("/late")), [](const auto&...) { ADD_FAILURE(); });
  process_.reset();
  for (const char* path : {"/lost", "/late"}) {
    const RequestOutcome outcome = only(server.url(path));
    EXPECT_TRUE(outcome.isCancelled) << path;
    EXPECT_FALSE(outcome.status || outcome.errorCode || outcome.isJSON) << path;
  }
  EXPECT_GT(only(server.url("/lost")).connecting.count(), 0);
}

}  // namespace

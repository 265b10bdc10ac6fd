// Faults of the backend: their effect on the module, its time, and what remains afterwards.

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <thread>

#include "network/PLTokenManager.h"
#include "pellion/backend/backend.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/timeline/event_text.h"
#include "services/url_loading/network.h"
#include "tests/support/raw_client.h"
#include "tests/support/test_phone.h"

namespace pellion {
namespace {

using namespace testing;
using namespace std::chrono_literals;
using platform::Value;
using Connections = Backend::Connections;
using End = Answer::End;
using Endless = Answer::Endless;
using Part = Answer::Part;

constexpr int timedOut = -1001;
constexpr int connectionRefused = -1004;
constexpr int lost = -1005;
constexpr int redirectedTooOften = -1007;
constexpr int undecodable = -1015;
constexpr int unreadable = -1017;
constexpr int tooLong = -1103;
constexpr int insecure = -1200;

struct Row {
  const char* fault;
  Answer answer;
  int outcome;                       // an error's code or the answer's status
  std::chrono::nanoseconds at = 0s;  // when it is there, in the phone's time
  bool isAccepted = false;
  std::size_t requests = 1;
  bool isRejected = false;  // the core library receives the rejected response
};

Answer raw(std::string_view head, std::string_view body = "{}") {
  return {.raw = "HTTP/1.1 " + std::string(head) + "\r\n\r\n" + std::string(body)};
}
Answer cut(Part part, End then, std::chrono::nanoseconds pace = {}) {
  return {.sends = part, .then = then, .pace = pace};
}
Answer to(int status, const char* location) { return {.status = status, .headers = {{"Location", location}}}; }

long entriesOf(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

/// The least that is seen: a thread that has been joined is listed a moment longer.
long fewestThreads(int looks) {
  long fewest = entriesOf("/proc/self/task");
  for (int i = 0; i < looks; ++i) {
    std::this_thread::yield();
    fewest = std::min(fewest, entriesOf("/proc/self/task"));
  }
  return fewest;
}

class BackendFaults : public Test {
 protected:
  BackendFaults() { configure(backend_->url()); }

  void configure(const std::string& url) { (*phone_)->configure(test::configuration(url)); }

  void send() {
    takeCompletions();
    const auto complete = [this](bool success) {
      const std::lock_guard lock(mutex_);
      completions_.push_back(success);
    };
    phone_->run([&] { PLTokenManager::sharedInstance().sendTokenToServer(Value::bytes("t"), complete); });
  }
  std::vector<bool> takeCompletions() {
    const std::lock_guard lock(mutex_);
    return std::exchange(completions_, {});
  }
  void advance(std::chrono::nanoseconds duration) {
    host::Process& process = *(*phone_)->process();
    const host::ProcessScope scope(process);
    process.mainQueue().advance(duration);
  }
  /// Error codes and statuses since the last call.
  std::vector<std::int64_t> takeOutcomes() {
    std::vector<std::int64_t> outcomes;
    for (const Value& details : phone_->take("failed")) outcomes.push_back(details.find("code")->integer());
    for (const Value& details : phone_->take("answered")) outcomes.push_back(details.find("status")->integer());
    return outcomes;
  }
  void expectAnswerAsUsual() {
    backend_->setConnections(Connections::accepted);
    backend_->answerWith({});
    send();
    EXPECT_THAT(takeCompletions(), ElementsAre(true));
    EXPECT_THAT(takeOutcomes(), ElementsAre(200));
    backend_->takeRequests();
  }
  void expectOutcome(const Row& row) {
    SCOPED_TRACE(row.fault);
    backend_->answerWith(row.answer);
    send();
    if (row.at > 0s) {
      advance(row.at - 1ns);
      EXPECT_THAT(takeCompletions(), IsEmpty());
      advance(1ns);
    }
    EXPECT_THAT(takeCompletions(), ElementsAre(row.isAccepted));
    EXPECT_THAT(takeOutcomes(), ElementsAre(row.outcome));
    EXPECT_EQ(backend_->takeRequests().size(), row.requests);
    EXPECT_EQ(phone_->take("rejected response").size(), row.isRejected ? 1U : 0U);
    advance(1h);
    EXPECT_THAT(takeCompletions(), IsEmpty());
    expectAnswerAsUsual();
  }

  std::mutex mutex_;
  std::vector<bool> completions_;  // handlers of several requests run side by side
  std::optional<test::TestPhone> phone_{test::configuration("none")};
  std::optional<Backend> backend_{Backend::Options{.network = &(*phone_)->process()->network()}};
};

TEST_F(BackendFaults, EndInOneCompletionEachAndLeaveTheNextRequestAlone) {
  const Answer slow{.pace = 1s};
  const auto slowness = slow.pace * (onWire(slow, "POST").once.size() - 1);
  const auto slowHead = 1s * (onWire(cut(Part::headers, End::waits), "POST").once.size() - 1);
  const char* const error = R"({"status":"error"})";
  const Row rows[] = {
      {"reset before the headers", cut(Part::nothing, End::resets), lost},
      {"reset in the headers", cut(Part::halfTheHeaders, End::resets), lost},
      {"reset after the headers", cut(Part::headers, End::resets), lost},
      {"reset in the body", cut(Part::halfTheBody, End::resets), lost},
      {"reset after the body", cut(Part::everything, End::resets), 200, 0s, true},
      {"closed before the headers", cut(Part::nothing, End::closes), lost},
      {"closed in the headers", cut(Part::halfTheHeaders, End::closes), lost},
      {"closed after the headers", cut(Part::headers, End::closes), lost},
      {"half a body", cut(Part::halfTheBody, End::closes), lost},
      {"a byte a second", slow, 200, slowness, true},
      {"a byte a minute", {.pace = 60s}, timedOut, 60s},
      {"never an answer", cut(Part::nothing, End::waits), timedOut, 60s},
      {"never the rest of the headers", cut(Part::halfTheHeaders, End::waits), timedOut, 60s},
      {"never the rest of the body", cut(Part::halfTheBody, End::waits), timedOut, 60s},
      {"a byte a second, never the body", cut(Part::headers, End::waits, 1s), timedOut, slowHead + 60s},
      {"an answer, never the end", cut(Part::everything, End::waits), 200, 0s, true},
      {"a body without end", {.endless = Endless::body}, tooLong},
      {"headers without end", {.endless = Endless::headers}, tooLong},
      {"a megabyte of headers", {.headers = {{"X", std::string(1 << 20, 'x')}}}, tooLong},
      {"a length that is too long", raw("200 OK\r\nContent-Length: 3"), lost},
      {"a length that is too short", raw("200 OK\r\nContent-Length: 1"), 200},
      {"two lengths", raw("200 OK\r\nContent-Length: 2\r\nContent-Length: 3"), unreadable},
      {"a negative length", raw("200 OK\r\nContent-Length: -2"), unreadable},
      {"a huge length", raw("200 OK\r\nContent-Length: 9000000000000000000"), lost},
      {"a length beyond all numbers", raw("200 OK\r\nContent-Length: 99999999999999999999"), unreadable},
      {"1xx before the answer", raw("103 Early Hints\r\n\r\nHTTP/1.1 200 OK"), 200, 0s, true},
      {"1xx instead of an answer", raw("103 Early Hints", ""), lost},
      {"no HTTP", {.raw = "220 mail.example ESMTP\r\n"}, unreadable},
      {"204", {.status = 204}, 204},
      {"301 round and round", to(301, "/"), redirectedTooOften, 0s, false, 21},
      {"302 round and round", to(302, "/"), redirectedTooOften, 0s, false, 21},
      {"307 round and round", to(307, "/"), redirectedTooOften, 0s, false, 21},
      {"308 round and round", to(308, "/"), redirectedTooOften, 0s, false, 21},
      {"to another scheme", to(302, "ftp://127.0.0.1/"), -1002},
      {"to clear text elsewhere", to(302, "http://elsewhere.example/"), -1022},
      {"401 with JSON", {.status = 401, .body = error}, 401, 0s, false, 1, true},
      {"401 without JSON", {.status = 401, .body = "<p>"}, 401},
      {"500 with JSON", {.status = 500, .body = error}, 500, 0s, false, 1, true},
      {"broken gzip", {.headers = {{"Content-Encoding", "gzip"}}}, undecodable},
      {"broken UTF-8", {.body = "{\"a\":\"\xff\"}"}, 200},
  };
  for (const Row& row : rows) expectOutcome(row);
}

/// Sends a request to a backend that a scenario's step has configured.
void expectReply(const std::string& behaviour, const Matcher<std::string>& bytes, const Matcher<int>& error) {
  SCOPED_TRACE(behaviour);
  const Scenario scenario = readScenario(
      "", R"({"name": "", "configuration": {"JWT_SECRET": "s"}, "steps": [{"backend": {)" + behaviour + "}}]}");
  services::Network network;
  ScenarioRun run(scenario, network, {});
  EXPECT_TRUE(run.run());
  const test::Reply reply = test::call(run.backend().port(), test::post("/"), 20'000);
  EXPECT_THAT(reply.bytes, bytes);
  EXPECT_THAT(reply.error, error);
}

TEST(BackendSteps, DefineWhatIsSentAndHowTheConnectionEnds) {
  const std::string raw = R"("raw": "ab\r\n\r\ncdef")";
  const std::pair<std::string, std::string> parts[] = {{"nothing", ""},
                                                       {"half the headers", "ab\r"},
                                                       {"headers", "ab\r\n\r\n"},
                                                       {"half the body", "ab\r\n\r\ncd"},
                                                       {"everything", "ab\r\n\r\ncdef"}};
  for (const auto& [part, bytes] : parts) {
    const std::string sends = raw + R"(, "sends": ")" + part + '"';
    expectReply(sends + R"(, "then": "closes")", bytes, 0);
    expectReply(sends + R"(, "then": "resets")", bytes, ECONNRESET);
  }
  expectReply(raw + R"(, "endless": "headers")", StartsWith("ab\r\nX-Endless: x"), 0);
  expectReply(raw + R"(, "endless": "body")", StartsWith("ab\r\n\r\ncdefcdefcdef"), 0);
  expectReply(R"("connection": "accepted")", StartsWith("HTTP/1.1 200 OK\r\n"), 0);
  expectReply(R"("connection": "refused")", "", ECONNREFUSED);
  expectReply(R"("connection": "closed")", "", AnyOf(0, ECONNRESET));  // before the request is sent, or after
}

TEST_F(BackendFaults, OfConnectionsAreReportedAsErrors) {
  const std::string secureURL = "https://127.0.0.1:" + std::to_string(backend_->port());
  const struct {
    Connections connections;
    std::string url;
    int outcome;
  } rows[] = {
      {Connections::refused, backend_->url(), connectionRefused},
      {Connections::closed, backend_->url(), lost},
      {Connections::closed, secureURL, insecure},    // in the handshake
      {Connections::accepted, secureURL, insecure},  // answered in clear text
  };
  for (const auto& [connections, url, outcome] : rows) {
    backend_->setConnections(connections);
    configure(url);
    send();
    EXPECT_THAT(takeCompletions(), ElementsAre(false));
    EXPECT_THAT(takeOutcomes(), ElementsAre(outcome));
    EXPECT_THAT(backend_->takeRequests(), IsEmpty());
    configure(backend_->url());
    expectAnswerAsUsual();
  }
}

TEST_F(BackendFaults, LeaveNothingBehindWhicheverSideEndsFirst) {
  phone_.reset();
  backend_.reset();
  const long descriptors = entriesOf("/proc/self/fd");
  const long threads = fewestThreads(20'000);
  for (const bool phoneFirst : {true, false}) {
    phone_.emplace(test::configuration("none"));
    backend_.emplace(Backend::Options{.network = &(*phone_)->process()->network()});
    configure(backend_->url());
    for (const Answer& answer : {cut(Part::nothing, End::waits), cut(Part::halfTheBody, End::waits, 1s),
                                 Answer{.endless = Endless::body, .pace = 2s}}) {
      backend_->answerWith(answer);
      send();
      advance(10s);
      EXPECT_THAT(takeCompletions(), IsEmpty());
    }
    if (phoneFirst) phone_.reset();
    backend_.reset();
    if (!phoneFirst) {
      advance(2min);
      EXPECT_EQ(takeOutcomes().size(), 3U);
    }
    phone_.reset();
  }
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  long left = fewestThreads(0);
  for (int i = 0; i < 50 && left > threads; ++i) left = fewestThreads(20'000);
  EXPECT_LE(left, threads);
}

}  // namespace
}  // namespace pellion

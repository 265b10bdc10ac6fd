#include "pellion/backend/backend.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <future>

#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
#include "tests/support/raw_client.h"

namespace pellion {
namespace {

using namespace testing;
using test::exchange;
using test::post;

TEST(Backend, RecordsARequestAsItWasOnTheWire) {
  Backend backend({});
  exchange(backend.port(),
           post("/sdk/v1/p%20q/x?b=2&a=%41+1&b=%zz&flag", "apid: A\r\nMAPID: m\r\napid: B\r\n", "body"));
  const auto requests = backend.takeRequests();
  ASSERT_EQ(requests.size(), 1U);
  const ReceivedRequest& request = requests.front();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path(), "/sdk/v1/p%20q/x");
  EXPECT_EQ(request.query(), "b=2&a=%41+1&b=%zz&flag");
  EXPECT_THAT(request.queryItems, ElementsAre(Pair("b", "2"), Pair("a", "A+1"), Pair("b", "%zz"), Pair("flag", "")));
  EXPECT_THAT(request.headers, ElementsAre(Pair("Host", "h"), Pair("Connection", "close"), Pair("Content-Length", "4"),
                                           Pair("apid", "A"), Pair("MAPID", "m"), Pair("apid", "B")));
  EXPECT_EQ(*request.findHeader("mapId"), "m");
  EXPECT_EQ(request.body, "body");
  EXPECT_TRUE(backend.takeRequests().empty());
}

TEST(Backend, ReportsTheSenderAndMasksBearerTokens) {
  std::string events;
  std::mutex mutex;
  Backend backend({.notify = [&](std::string_view what, const platform::Value& details) {
    const std::lock_guard lock(mutex);
    events.append(what).append(compactJSON(details)).append("\n");
  }});
  exchange(backend.port(), post("/x?anondeviceid=a-1", "Authorization: Bearer secret-token-1\r\n"));
  exchange(backend.port(), post("/x?deviceid=d-1", "authorization: Basic short\r\nCOOKIE: session=12345\r\n"));
  const std::lock_guard lock(mutex);
  EXPECT_THAT(events, HasSubstr(R"("identity":{"kind":"anonymous user","id":"a-1"})"));
  EXPECT_THAT(events, HasSubstr(R"("identity":{"kind":"device","id":"d-1"})"));
  EXPECT_THAT(events, HasSubstr(R"x(["Authorization","Bearer secr… (14 characters)"])x"));
  EXPECT_THAT(events, HasSubstr(R"x(["authorization","Basic … (5 characters)"],["COOKIE","sess… (13 characters)"])x"));
  EXPECT_THAT(events,
              HasSubstr(R"(answer{"number":2,"status":200,"headers":[],"body":"{\"status\":\"ok\"}","delay":0})"));
}

TEST(Backend, MasksEveryBearerTokenOfALogLine) {
  EXPECT_EQ(maskedBearer("{\n    Authorization = \"Bearer abcd\\\"fghi\";\n    x = \"Bearer 1234567890\";\n}"),
            "{\n    Authorization = \"Bearer abcd… (10 characters)\";\n    x = \"Bearer 1234… (10 characters)\";\n}");
  EXPECT_EQ(maskedBearer("Bearer "), "Bearer … (0 characters)");
  EXPECT_EQ(maskedBearer("Bearer ab\"cdefghi"), "Bearer ab\"c… (10 characters)");
}

TEST(Backend, RespondsToTheNextRequestsAsConfiguredAndThenAsBefore) {
  Backend backend({});
  backend.answerWith({.status = 404, .body = "gone"});
  backend.answerNext(2, {.status = 503, .headers = {{"Content-Type", "text/plain"}, {"Retry-After", "1"}}});
  backend.answerNext(1, {.sends = Answer::Part::nothing});
  for (int i = 0; i < 2; ++i) {
    const std::string answer = exchange(backend.port(), post("/"));
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("Content-Type: text/plain\r\n"),
                              HasSubstr("Retry-After: 1\r\n"), Not(HasSubstr("application/json"))));
  }
  EXPECT_EQ(exchange(backend.port(), post("/")), "") << "dropped";
  EXPECT_THAT(exchange(backend.port(), post("/")), HasSubstr("404"));
  backend.answerWith({});
  EXPECT_THAT(exchange(backend.port(), post("/")), HasSubstr("\r\n\r\n{\"status\":\"ok\"}"));
}

TEST(Backend, RejectsABodyAboveItsLimitAndDiscardsIt) {
  Backend backend({});
  const auto sizeKept = [&](std::size_t size) {
    const std::string answer = exchange(backend.port(), post("/", "", std::string(size, 'x')));
    EXPECT_THAT(answer, StartsWith(size > Backend::largestBody ? "HTTP/1.1 413 " : "HTTP/1.1 200 "));
    return backend.takeRequests().at(0).body.size();
  };
  EXPECT_EQ(sizeKept(Backend::largestBody), Backend::largestBody);
  EXPECT_EQ(sizeKept(Backend::largestBody + 1), 0U);
}

TEST(Backend, EndsABodyThatDoesNotEnd) {
  Backend backend({});
  const std::string part(Backend::largestBody, 'x');
  std::string endless = "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (int i = 0; i < 20; ++i) endless.append("100000\r\n").append(part).append("\r\n");
  EXPECT_EQ(exchange(backend.port(), endless), "");
  EXPECT_THAT(backend.takeRequests(), IsEmpty());
  EXPECT_THAT(exchange(backend.port(), post("/")), StartsWith("HTTP/1.1 200 "));
}

TEST(Backend, ListensAtOneAddressOfLoopback) {
  const Backend backend({});
  constexpr in_addr_t another = INADDR_LOOPBACK + 1;  // where a server that listens on all addresses would respond
  EXPECT_EQ(test::call(backend.port(), post("/"), 1, another).error, ECONNREFUSED);
  EXPECT_NE(exchange(backend.port(), post("/")), "");
}

TEST(Backend, ContinuesToWaitAfterASignal) {
  Backend backend({});
  backend.answerWith({.body = std::string(1U << 24U, 'x'), .delay = std::chrono::milliseconds(50)});
  signal(SIGUSR1, [](int) {});
  auto answer = std::async(std::launch::async, [&] {
    sigset_t ours;
    sigemptyset(&ours);
    sigaddset(&ours, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &ours, nullptr);  // they are for the backend's threads
    return exchange(backend.port(), post("/"));
  });
  while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
      tgkill(getpid(), std::stoi(thread.path().filename()), SIGUSR1);
    }
  }
  EXPECT_GT(answer.get().size(), 1U << 24U);
}

TEST(Backend, SurvivesIncompleteRequests) {
  Backend backend({});
  for (const char* part : {"", "PO", "POST /x HTTP/1.1\r\nHo",
                           "POST /x HTTP/1.1\r\nHost: h\r\nContent-Length: 9\r\n\r\nab", "nonsense\r\n\r\n"}) {
    test::call(backend.port(), part, 0);
  }
  EXPECT_THAT(exchange(backend.port(), post("/")), StartsWith("HTTP/1.1 200 "));
  EXPECT_EQ(backend.takeRequests().size(), 1U);
}

}  // namespace
}  // namespace pellion

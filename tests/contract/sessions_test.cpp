// URL sessions over loopback.

#include <gmock/gmock.h>

#include <thread>

#include "platform/class_face.h"
#include "platform/url_session.h"
#include "tests/contract/contract.h"
#include "tests/support/loopback_server.h"

namespace {

using platform::Value;
using test::LoopbackServer;
using testing::HasSubstr;
using testing::Not;

struct Loaded {
  std::string body;
  int status = 0;
  std::int64_t error = 0;
  std::thread::id thread;
};

class Sessions : public test::Contract {
 protected:
  Loaded load(const std::string& url, const std::string& method = "GET", const std::optional<Value>& body = {}) {
    platform::URLRequest request{platform::URL::URLWithString(url), method, {}, body, false};
    request.headers.set("X-Test", "yes");
    Loaded loaded;
    std::atomic<bool> isOver = false;
    const auto task = platform::URLSession::sessionWithDefaultConfiguration()->dataTaskWithRequest(
        request, [&](const Value* data, const platform::HTTPURLResponse* response, const platform::Error* error) {
          if (data != nullptr) loaded.body.assign(data->bytes().begin(), data->bytes().end());
          if (response != nullptr) loaded.status = response->statusCode;
          if (error != nullptr) loaded.error = error->code;
          loaded.thread = std::this_thread::get_id();
          isOver = true;
        });
    EXPECT_FALSE(isOver);
    task->resume();
    task->resume();
    EXPECT_TRUE(process.runUntil([&] { return isOver.load(); }));
    return loaded;
  }

  LoopbackServer server{[](const LoopbackServer::Request& request) {
    if (request.head.starts_with("GET /moved ")) {
      return LoopbackServer::Reply{LoopbackServer::answer("302 Found", "", "Location: /end\r\n")};
    }
    if (request.head.starts_with("GET /cut ")) return LoopbackServer::Reply{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n"};
    return LoopbackServer::Reply{LoopbackServer::answer("404 Not Found", "none")};
  }};
};

TEST_F(Sessions, SendARequestOnceAndPassTheResponseOnAnotherThread) {
  const Loaded loaded = load(server.url("/a?b=c"), "POST", Value::bytes("body"));
  EXPECT_EQ(loaded.status, 404);
  EXPECT_EQ(loaded.body, "none");
  EXPECT_EQ(loaded.error, 0);
  EXPECT_NE(loaded.thread, std::this_thread::get_id());
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_THAT(server.requests()[0].head, HasSubstr("POST /a?b=c HTTP/1.1\r\n"));
  EXPECT_THAT(server.requests()[0].head, HasSubstr("\r\nX-Test: yes\r\n"));
  EXPECT_EQ(server.requests()[0].body, "body");
}

TEST_F(Sessions, FollowRedirects) {
  EXPECT_EQ(load(server.url("/moved")).status, 404);
  EXPECT_THAT(server.requests().back().head, HasSubstr("GET /end HTTP/1.1"));
}

TEST_F(Sessions, ReportWhatFailedByItsCode) {
  EXPECT_EQ(load("http://127.0.0.1:1/").error, -1004);
  EXPECT_EQ(load("").error, -1002);
  EXPECT_EQ(load("own:page").error, -1002);
  EXPECT_EQ(load("http://a.example/").error, -1022) << "in clear text";
  EXPECT_EQ(load(server.url("/cut")).error, -1005);
}

}  // namespace

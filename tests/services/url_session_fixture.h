#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/phone/process.h"
#include "platform/url_session.h"
#include "services/gzip.h"
#include "services/url_loading/network.h"
#include "tests/support/loopback_server.h"

namespace test {

/// What a session passes to a handler.
struct Outcome {
  int runs = 0;
  std::optional<std::string> body;
  std::optional<platform::HTTPURLResponse> response;
  std::optional<platform::Error> error;
  [[nodiscard]] std::int64_t code() const { return error ? error->code : 0; }
  [[nodiscard]] std::string text() const { return error ? error->localizedDescription : ""; }
};

inline std::string textOf(const platform::Value& bytes) {
  return {reinterpret_cast<const char*>(bytes.bytes().data()), bytes.bytes().size()};
}
inline std::string gzip(const std::string& text) {
  return textOf(*services::gzip(platform::Value::bytes(text).bytes(), 1));
}

inline platform::URLRequest request(const std::string& url, const std::string& method = "GET",
                                    const std::optional<std::string>& body = std::nullopt,
                                    const std::vector<platform::HTTPHeaderFields::Field>& fields = {}) {
  platform::URLRequest made{platform::URL::URLWithString(url), method, {}, std::nullopt, false};
  if (body) made.httpBody = platform::Value::bytes(*body);
  for (const auto& [name, value] : fields) made.headers.add(name, value);
  return made;
}

inline LoopbackServer::Script always(const std::string& bytes,
                                     LoopbackServer::Then then = LoopbackServer::Then::close) {
  return [=](const LoopbackServer::Request&) { return LoopbackServer::Reply{bytes, then}; };
}

inline const std::string plainOK = LoopbackServer::answer("200 OK", "{}");

/// Sessions of one process, over servers on loopback.
class URLSessionTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy"}) setenv(name, "http://127.0.0.1:1", 1);
  }

  host::Process& process() {
    if (!process_)
      process_.emplace(
          host::Process::Environment{.clock = clock_,
                                     .network = *network_,
                                     .networkPolicy = std::make_shared<const services::NetworkPolicy>(policy_),
                                     .outcomes = outcomes_});
    return *process_;
  }
  std::shared_ptr<platform::URLSession> session() {
    const host::ProcessScope scope(process());
    return platform::URLSession::sessionWithDefaultConfiguration();
  }
  void resume(platform::URLRequest made, platform::URLSession::DataTaskHandler handler) {
    session()->dataTaskWithRequest(std::move(made), std::move(handler))->resume();
  }
  Outcome load(platform::URLRequest made) {
    Outcome outcome;
    resume(std::move(made),
           [&](const platform::Value* data, const platform::HTTPURLResponse* response, const platform::Error* error) {
             ++outcome.runs;
             if (data != nullptr) outcome.body = textOf(*data);
             if (response != nullptr) outcome.response = *response;
             if (error != nullptr) outcome.error = *error;
           });
    process().mainQueue().runUntilIdle();
    EXPECT_EQ(outcome.runs, 1);
    EXPECT_NE(outcome.body.has_value(), outcome.error.has_value());
    return outcome;
  }

  host::Clock clock_{host::Clock::Kind::virtualTime};
  services::NetworkPolicy policy_;
  host::OutcomeSink outcomes_;
  std::optional<services::Network> network_{std::in_place};
  std::optional<host::Process> process_;
};

}  // namespace test

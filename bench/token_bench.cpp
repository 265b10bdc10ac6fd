// What one token registration costs before anything reaches the network, and what a log line costs that nobody reads.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "network/PLTokenManager.h"
#include "platform/log.h"
#include "tests/support/test_phone.h"

namespace {

/// Takes every request and never answers: what is measured ends where the transport begins.
class SilentSession : public platform::URLSession {
 public:
  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler) override {
    benchmark::DoNotOptimize(request);
    static const auto task = std::make_shared<Task>();
    return task;
  }

 private:
  class Task : public DataTask {
   public:
    void setPriority(float) override {}
    void resume() override {}
  };
};

/// A launched phone on which nobody listens to the log.
class QuietPhone {
 public:
  QuietPhone() : scope_((phone_->process()->setLogLevel(host::LogLevel::none), *phone_->process())) {
    phone_->process()->setSessionFactory([] { return std::make_shared<SilentSession>(); });
  }

 private:
  test::TestPhone phone_{test::configuration("http://127.0.0.1:1")};
  host::ProcessScope scope_;
};

platform::Value token() {
  std::array<std::uint8_t, 32> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(37 * i);
  return platform::Value::bytes(bytes);
}

void composeEnvelope(benchmark::State& state) {
  const QuietPhone phone;
  for (auto _ : state) {
    PLTokenManager::sharedInstance().makeRequest("portal/project/pushnotification/device", "status=register",
                                                 PLTokenManager::Headers{{"notificationid", "0aff00"}}, std::nullopt,
                                                 [](bool) {});
  }
}

void formatToken(benchmark::State& state) {
  const QuietPhone phone;
  const platform::Value deviceToken = token();
  const PLTokenManager& manager = PLTokenManager::sharedInstance();
  for (auto _ : state) benchmark::DoNotOptimize(manager.stringFromDeviceToken(&deviceToken));
}

void dropLogLine(benchmark::State& state) {
  const QuietPhone phone;
  const platform::Value value = token();
  for (auto _ : state) {
    PL_LOG(platform::pellionLog, "-[Bench line]", "Request payload - %@", value);
    benchmark::ClobberMemory();
  }
}

BENCHMARK(composeEnvelope)->Name("envelope/no_payload");
BENCHMARK(formatToken)->Name("hex_text/32_byte_token");
BENCHMARK(dropLogLine)->Name("log/dropped_line");

}  // namespace

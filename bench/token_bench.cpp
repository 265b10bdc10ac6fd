// Measures one token registration up to the network, and a log line that has no listener.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "bench/quiet_phone.h"
#include "bench/request_by_hand.h"
#include "network/PLTokenManager.h"
#include "platform/log.h"

namespace {

platform::Value token() {
  std::array<std::uint8_t, 32> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(37 * i);
  return platform::Value::bytes(bytes);
}

void composeEnvelope(benchmark::State& state) {
  const bench::QuietPhone phone;
  for (auto _ : state) {
    PLTokenManager::sharedInstance().makeRequest("portal/project/pushnotification/device", "status=register",
                                                 PLTokenManager::Headers{{"notificationid", "0aff00"}}, std::nullopt,
                                                 [](bool) {});
  }
}

void requestByHand(benchmark::State& state) {
  const bench::QuietPhone phone;
  for (auto _ : state) bench::sendByHand();
}

void formatToken(benchmark::State& state) {
  const bench::QuietPhone phone;
  const platform::Value deviceToken = token();
  const PLTokenManager& manager = PLTokenManager::sharedInstance();
  for (auto _ : state) benchmark::DoNotOptimize(manager.stringFromDeviceToken(&deviceToken));
}

void dropLogLine(benchmark::State& state) {
  const bench::QuietPhone phone;
  const platform::Value value = token();
  for (auto _ : state) {
    PL_LOG(platform::pellionLog, "-[Bench line]", "Request payload - %@", value);
    benchmark::ClobberMemory();
  }
}

BENCHMARK(composeEnvelope)->Name("envelope/no_payload");
BENCHMARK(requestByHand)->Name("envelope/by_hand");
BENCHMARK(formatToken)->Name("hex_text/32_byte_token");
BENCHMARK(dropLogLine)->Name("log/dropped_line");

}  // namespace

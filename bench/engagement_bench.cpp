// Measures what one notification costs in the module: recording, searching, resolving its click action.

#include <benchmark/benchmark.h>

#include <string>

#include "bench/quiet_phone.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"

namespace {

using platform::Value;

const std::string addInfo =
    R"({"pellionPnID":12,"clickAction":"https://shop.example/sale?id=7",)"
    R"("conversion":{"event":"Purchase","group":"Shop"},"actionButton":[)"
    R"({"action":"open","clickAction":"shop://open"},{"action":"later","clickAction":"shop://later"}]})";

/// A payload of about `size` bytes: an alert, custom keys, and addInfo last.
Value payload(std::size_t size, const Value& info) {
  std::vector<Value::Entry> entries{
      {"aps", Value::dictionary({{"alert", Value::dictionary({{"title", "Sale"}, {"body", "Only today"}})}})}};
  for (std::size_t i = 0; 40 * i + 300 < size; ++i) {
    entries.push_back({"custom" + std::to_string(i), Value::list({Value::dictionary({{"k", "some text"}})})});
  }
  if (!info.isNull()) entries.push_back({"addInfo", info});
  return Value::dictionary(entries);
}

void recordDelivery(benchmark::State& state, bool gzip) {
  const bench::QuietPhone phone({{"GZIP", gzip}, {"APP_META", Value::dictionary({{"os", "1"}, {"model", "bench"}})}});
  const Value delivered = payload(1024, addInfo);
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    PLMessaging::shared().updateLogMsgIds(&delivered);
  }
}

void searchWithoutMatch(benchmark::State& state) {
  const bench::QuietPhone phone;
  const Value searched = payload(4096, nullptr);
  const PLMessaging& messaging = PLMessaging::shared();
  for (auto _ : state) benchmark::DoNotOptimize(messaging.findValueForKey("addInfo", &searched));
}

void resolveClickAction(benchmark::State& state, const Value& info) {
  const bench::QuietPhone phone;
  const platform::Strong response = host::makeNotificationResponse(payload(1024, info), "later");
  const PLNotificationHandler& handler = PLNotificationHandler::shared();
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    benchmark::DoNotOptimize(handler.resolvedClickActionFromResponse(response.get()));
  }
}

Value parsed(const std::string& json) {
  const bench::QuietPhone phone;
  return PLMessaging::shared().parseBodyString(json).value();
}

/// Searches many keys, lists and levels, none of which has the wanted key.
void searchHostile(benchmark::State& state, std::int64_t levels) {
  const bench::QuietPhone phone;
  Value tree = Value::dictionary({{"end", 1}});
  for (std::int64_t i = 0; i < levels; ++i) {
    tree = i % 2 == 0 ? Value::dictionary({{"k" + std::to_string(i), tree}, {"other", Value::list({1, 2})}})
                      : Value::dictionary({{"list", Value::list({0, tree})}});
  }
  const PLMessaging& messaging = PLMessaging::shared();
  for (auto _ : state) benchmark::DoNotOptimize(messaging.findValueForKey("addInfo", &tree));
}

void recordHostile(benchmark::State& state, std::int64_t keys) {
  const bench::QuietPhone phone({{"APP_META", Value::dictionary({})}});
  std::string text = R"({"pellionPnID":12)";
  for (std::int64_t i = 0; i < keys; ++i) text += R"(,"key)" + std::to_string(i) + R"(":[{"a":"\u00e9"}])";
  const Value delivered = Value::dictionary({{"addInfo", text + "}"}});
  for (auto _ : state) PLMessaging::shared().updateLogMsgIds(&delivered);
}

BENCHMARK_CAPTURE(recordDelivery, plain, false)->Name("delivery/1_KiB");
BENCHMARK_CAPTURE(recordDelivery, gzip, true)->Name("delivery/1_KiB_gzip");
BENCHMARK(searchWithoutMatch)->Name("deep_search/4_KiB_no_match");
BENCHMARK_CAPTURE(searchHostile, once, 50'000)->Name("deep_search/hostile");
BENCHMARK_CAPTURE(searchHostile, doubled, 100'000)->Name("deep_search/hostile_doubled");
BENCHMARK_CAPTURE(recordHostile, once, 25'000)->Name("delivery/hostile");
BENCHMARK_CAPTURE(recordHostile, doubled, 50'000)->Name("delivery/hostile_doubled");
BENCHMARK_CAPTURE(resolveClickAction, text, Value(addInfo))->Name("click_action/json_text");
BENCHMARK_CAPTURE(resolveClickAction, dictionary, parsed(addInfo))->Name("click_action/dictionary");

}  // namespace

// Measures what one notification costs in the module: recording, searching, resolving its click action.

#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "bench/quiet_phone.h"
#include "bench/request_by_hand.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"
#include "platform/json_serialization.h"
#include "platform/object_messages.h"

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

/// What a delivery cannot do without: the JSON read, the entry as JSON twice (once to be checked), signed and sent.
void recordByHand(benchmark::State& state, bool gzip) {
  const bench::QuietPhone phone({{"GZIP", gzip}});
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    const platform::ByteView text(reinterpret_cast<const std::uint8_t*>(addInfo.data()), addInfo.size());
    const Value info = platform::JSONSerialization::JSONObjectWithData(text, nullptr).value();
    const Value entry = Value::dictionary(
        {{"notificationid", *info.find("pellionPnID")}, {"timestamp", 1'767'225'600'000}, {"status", 4}});
    const Value sent = Value::dictionary(
        {{"meta", Value::dictionary({{"os", "1"}, {"model", "bench"}})}, {"pnstats", Value::list({entry})}});
    const Value json = platform::JSONSerialization::dataWithJSONObject(sent);
    auto& encoder = platform::PLJWTWrapper::sharedManager();
    bench::sendByHand(gzip ? encoder.encodeDataWithJWT(platform::pl_gzippedData(json, 1).value())
                           : encoder.encodeWithJWT(sent));
  }
}

const nlohmann::json* find(const nlohmann::json& tree, std::string_view key) {
  for (auto item = tree.begin(); item != tree.end(); ++item) {
    if (tree.is_object() && item.key() == key) return &*item;
    if (!item->is_structured()) continue;
    if (const nlohmann::json* found = find(*item, key)) return found;
  }
  return nullptr;
}

void searchNlohmann(benchmark::State& state) {
  const Value text = platform::JSONSerialization::dataWithJSONObject(payload(4096, nullptr));
  const nlohmann::json searched = nlohmann::json::parse(text.bytes());
  for (auto _ : state) benchmark::DoNotOptimize(find(searched, "addInfo"));
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

/// The same look-ups without any check: the properties through their getters, and three keys.
void readClickAction(benchmark::State& state, const Value& info) {
  const bench::QuietPhone phone;
  const platform::Strong response = host::makeNotificationResponse(payload(1024, info), "later");
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    id content = response.get();
    for (const char* getter : {"notification", "request", "content"}) content = platform::property(content, getter);
    const std::optional<Value> userInfo = platform::unboxed(platform::property(content, "userInfo"));
    const std::optional<Value> action = platform::unboxed(platform::property(response.get(), "actionIdentifier"));
    for (const Value& button : userInfo->find("addInfo")->find("actionButton")->elements()) {
      if (*button.find("action") == *action) benchmark::DoNotOptimize(std::string(button.find("clickAction")->text()));
    }
  }
}

void decodeAddInfo(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(addInfo).size());
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
BENCHMARK_CAPTURE(recordByHand, plain, false)->Name("delivery/by_hand");
BENCHMARK_CAPTURE(recordByHand, gzip, true)->Name("delivery/by_hand_gzip");
BENCHMARK(searchNlohmann)->Name("deep_search/nlohmann");
BENCHMARK(searchWithoutMatch)->Name("deep_search/4_KiB_no_match");
BENCHMARK_CAPTURE(searchHostile, once, 500)->Name("deep_search/hostile");
BENCHMARK_CAPTURE(searchHostile, doubled, 1'000)->Name("deep_search/hostile_doubled");
BENCHMARK_CAPTURE(recordHostile, once, 2'500)->Name("delivery/hostile");
BENCHMARK_CAPTURE(recordHostile, doubled, 5'000)->Name("delivery/hostile_doubled");
BENCHMARK_CAPTURE(resolveClickAction, text, Value(addInfo))->Name("click_action/json_text");
BENCHMARK_CAPTURE(resolveClickAction, dictionary, parsed(addInfo))->Name("click_action/dictionary");
BENCHMARK(decodeAddInfo)->Name("click_action/nlohmann");
BENCHMARK_CAPTURE(readClickAction, dictionary, parsed(addInfo))->Name("click_action/by_hand");

}  // namespace

// Measures `pellion explain` for a whole payload, without the start of the program. It launches the application anew
// for each thing that may happen to the notification, so its baseline is one launch.

#include <benchmark/benchmark.h>

#include <string>

#include "host/phone/system_events.h"
#include "pellion/explain/explain.h"
#include "pellion/text/json_writer.h"
#include "platform/class_face.h"
#include "tests/support/test_phone.h"

namespace {

using platform::Value;

/// A payload of 4 KiB with four buttons, as many as a phone shows.
std::string payload() {
  std::vector<Value> buttons;
  for (int i = 0; i < 4; ++i) {
    const std::string number = std::to_string(i);
    buttons.push_back(
        Value::dictionary({{"action", "button " + number}, {"clickAction", "https://shop.example/" + number}}));
  }
  const auto ofText = [&](std::size_t size) {
    const Value addInfo =
        Value::dictionary({{"pellionPnID", 41},
                           {"clickAction", "https://shop.example/sale"},
                           {"conversion", Value::dictionary({{"group", "shop"}, {"event", "purchase"}})},
                           {"actionButton", Value::list(buttons)},
                           {"text", std::string(size, 'x')}});
    return pellion::compactJSON(Value::dictionary(
        {{"aps", Value::dictionary({{"alert", "Sale"}})}, {"addInfo", pellion::compactJSON(addInfo)}}));
  };
  return ofText(pellion::Explanation::largestPayload - ofText(0).size());
}

void explain(benchmark::State& state) {
  const std::string text = payload();
  for (auto _ : state) {
    pellion::Explainer explainer({});
    benchmark::DoNotOptimize(explainer.explain("payload", text));
  }
}

void findings(benchmark::State& state) {
  const std::string text = payload();
  pellion::Explainer explainer({});
  for (auto _ : state) benchmark::DoNotOptimize(explainer.explain("payload", text, false));
}

class ApplicationDelegate {
 public:
  static constexpr const char* className = "ApplicationDelegate";
  static void defineClass(platform::ClassFace<ApplicationDelegate>& face) { face.conformsTo("UIApplicationDelegate"); }
};

void launch(benchmark::State& state) {
  test::TestPhone phone(test::configuration("http://127.0.0.1:1"));
  for (auto _ : state) {
    phone->launch();
    phone.run([] { host::startApplication(platform::makeObject<ApplicationDelegate>()); });
  }
}

}  // namespace

BENCHMARK(launch)->Name("explain/launch");
BENCHMARK(explain)->Name("explain/4_KiB");
BENCHMARK(findings)->Name("explain/findings_4_KiB");

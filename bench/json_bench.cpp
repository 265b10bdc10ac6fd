// Measures reading a push payload, from the text to the tree and its destruction.

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/json_serialization.h"

namespace {

/// A payload of 4 KiB, the largest that a push may carry: an alert, the module's own entries, buttons and a campaign's
/// data, of realistic length and depth.
std::string makePayload() {
  std::string text =
      R"({"aps":{"alert":{"title":"Your parcel is on its way","subtitle":"Order 8841-2207",)"
      R"("body":"It will reach you tomorrow between 9:00 and 12:00. Grüße aus Köln \ud83d\udce6"},"badge":3,)"
      R"("sound":"default","mutable-content":1,"content-available":1,"category":"PARCEL","thread-id":"orders"},)"
      R"("pellionPnID":4711,"clickAction":"myapp:\/\/orders\/8841-2207?from=push","addInfo":"{\"campaign\":12}",)"
      R"("buttons":[{"id":"track","title":"Track","action":"myapp:\/\/track\/8841","foreground":true},)"
      R"({"id":"later","title":"Remind me later","action":null,"foreground":false}],"data":{"segments":[)";
  for (int i = 0; text.size() < 3900; ++i) {
    const std::string number = std::to_string(i);
    if (i != 0) text += ',';
    text.append(R"({"segment":"spring-sale-)").append(number);
    text.append(R"(","weight":)").append(number).append(R"(.25,"since":17000)").append(std::to_string(10'000 + i));
    text.append(R"(,"tags":["vip","de","app"],"on":)").append(i % 2 == 0 ? "true}" : "false}");
  }
  text += R"(],"pad":")";
  text.append(4096 - text.size() - 3, 'x');
  return text.append("\"}}");
}

const std::string& payload() {
  static const std::string text = makePayload();
  return text;
}

void decodeIntoValue(benchmark::State& state) {
  const platform::ByteView data(reinterpret_cast<const std::uint8_t*>(payload().data()), payload().size());
  for (auto _ : state) {
    const auto value = platform::JSONSerialization::JSONObjectWithData(data, nullptr);
    if (!value) throw std::runtime_error("the payload is broken");
    benchmark::DoNotOptimize(value->entries().data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(payload().size()) * state.iterations());
}

void decodeWithNlohmann(benchmark::State& state) {
  for (auto _ : state) {
    const auto document = nlohmann::json::parse(payload());
    benchmark::DoNotOptimize(document.size());
  }
}

void decodeWithSimdjson(benchmark::State& state) {
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(payload()).get(root) != simdjson::SUCCESS) throw std::runtime_error("the payload is broken");
    benchmark::DoNotOptimize(root);
  }
}

BENCHMARK(decodeIntoValue)->Name("json_decode/value");
BENCHMARK(decodeWithNlohmann)->Name("json_decode/nlohmann");
BENCHMARK(decodeWithSimdjson)->Name("json_decode/simdjson");

}  // namespace

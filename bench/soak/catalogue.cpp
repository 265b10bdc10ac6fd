#include "bench/soak/catalogue.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>

#include "platform/json_serialization.h"

namespace soak {
namespace {

using platform::Value;
using Texts = std::vector<std::string>;

constexpr std::size_t largestPayload = 4096;
constexpr const char* wholeAddInfo =
    R"({"pellionPnID":12,"clickAction":"https://shop.example/sale?id=7","conversion":{"event":"Purchase",)"
    R"("group":"Shop"},"actionButton":[{"action":"open","clickAction":"shop://open"},{"action":"later"}]})";

platform::ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// A payload that carries `addInfo`, usually text.
std::string payload(const Value& addInfo) {
  const Value whole = Value::dictionary({{"aps", Value::dictionary({{"alert", "Sale"}})}, {"addInfo", addInfo}});
  const Value text = platform::JSONSerialization::dataWithJSONObject(whole);
  return {text.bytes().begin(), text.bytes().end()};
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

/// The JSON files of a folder, because only JSON reaches an application.
Texts payloadsIn(const std::filesystem::path& folder) {
  Texts texts;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".json") continue;
    std::ifstream file(entry.path());
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (platform::JSONSerialization::JSONObjectWithData(bytesOf(text), nullptr)) texts.push_back(std::move(text));
  }
  std::ranges::sort(texts);
  return texts;
}

Texts wrongKinds() {
  Texts texts;
  for (const std::string value :
       {"null", "true", "-1", "1e308", "18446744073709551615", R"("")", R"("\ud83e\udd16")", R"("x y")", "[]", "[null]",
        "[[[7]]]", "{}", R"({"action":{},"event":[],"group":1})"}) {
    const std::string fields[] = {
        R"({"pellionPnID":)" + value + "}",
        R"({"pellionPnID":12,"clickAction":)" + value + "}",
        R"({"pellionPnID":12,"conversion":)" + value + "}",
        R"({"pellionPnID":12,"conversion":{"event":)" + value + R"(,"group":)" + value + "}}",
        R"({"pellionPnID":12,"actionButton":)" + value + "}",
        R"({"pellionPnID":12,"actionButton":[{"action":"open","clickAction":)" + value + "}]}",
    };
    for (const std::string& field : fields) texts.push_back(payload(field));
    texts.push_back(R"({"aps":{},"addInfo":)" + value + "}");
  }
  return texts;
}

Texts foreign() {
  return {"{}",
          R"({"aps":{"alert":"Somebody else's","badge":3,"sound":"default"}})",
          R"({"aps":{"content-available":1},"kit":{"id":"a1","link":"https://other.example"}})",
          R"({"aps":null,"addinfo":"{\"pellionPnID\":7}","AddInfo":{"pellionPnID":7}})",
          R"({"aps":{"alert":{"title":"a","body":"b"}},"list":[[{"addInfo":"{\"pellionPnID\":7}"}],1,null]})",
          R"({"":{"":{"":[]}},"pellionPnID":7,"clickAction":"https://other.example"})"};
}

Texts deep() {
  const std::string info = payload(wholeAddInfo);
  Texts texts{repeated(R"({"a":)", 300) + info + repeated("}", 300),
              repeated(R"({"a":[)", 200) + info + repeated("]}", 200),
              R"({"aps":)" + repeated("[", 500) + repeated("]", 500) + "}"};
  for (const char* open : {"[", R"({"a":)", R"({"a":[)"}) {
    texts.push_back(payload(repeated(open, 400)));
    texts.push_back(payload(R"({"pellionPnID":12,"x":)" + repeated(open, 250)));
  }
  texts.push_back(payload(R"({"pellionPnID":12,"x":)" + repeated("[", 500) + repeated("]", 500) + "}"));
  return texts;
}

/// Payloads of the largest size that the push service accepts: one long text, many keys, escapes.
Texts large() {
  Texts texts;
  for (const char* filling : {"x", "\u00e9", "\\u00e9", R"(","k":")", R"(","k":{"a":[1,2]},"l":")"}) {
    const auto ofTimes = [&](std::size_t times) {
      return payload(R"({"pellionPnID":12,"actionButton":[{"action":"open"}],"text":")" + repeated(filling, times) +
                     "\"}");
    };
    std::size_t times = 1;
    while (ofTimes(times + 1).size() <= largestPayload) ++times;
    texts.push_back(ofTimes(times));
  }
  return texts;
}

/// addInfo with a few letters replaced.
Texts mutated() {
  constexpr std::string_view letters = R"({}[]":,\/ 0123456789eE+-.truefalsn)";
  std::mt19937 random(1);  // a fixed seed: the same payloads on every run
  const auto below = [&](std::size_t bound) { return random() % bound; };
  Texts texts;
  while (texts.size() < 120) {
    std::string info = wholeAddInfo;
    for (std::size_t changes = 1 + below(4); changes > 0; --changes)
      info[below(info.size())] = letters[below(letters.size())];
    texts.push_back(payload(info));
  }
  return texts;
}

}  // namespace

std::vector<PayloadKind> payloadCatalogue(const std::filesystem::path& examples) {
  return {{"good", payloadsIn(examples)},
          {"broken", payloadsIn(examples / "broken")},
          {"of wrong kinds", wrongKinds()},
          {"foreign", foreign()},
          {"deeply nested", deep()},
          {"near 4 KiB", large()},
          {"mutated", mutated()}};
}

}  // namespace soak

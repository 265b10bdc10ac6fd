#include "pellion/lab_server/lab_explainer.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <future>

#include "pellion/text/json_writer.h"
#include "tests/lab/protocol.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

const std::string payloads = PELLION_SOURCE_DIR "/examples/payloads/";

std::vector<std::string> codesOf(const Value& explanation) {
  std::vector<std::string> codes;
  for (const Value& finding : test::at(explanation, "findings").elements())
    codes.push_back(test::textAt(finding, "code"));
  return codes;
}

bool isFixable(const Value& document) { return test::at(document, "fixable") == Value(true); }

TEST(LabExplainer, GivesTheDocumentsOfTheSchemaForEveryExample) {
  LabExplainer explainer;
  test::Protocol protocol;
  std::size_t corrected = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(payloads)) {
    if (!entry.is_regular_file()) continue;
    const std::string text = test::fileText(entry.path());
    const Value explanation = explainer.explanation(text, {});
    protocol.expectFits("explanation", compactJSON(explanation));
    const Value& why = test::at(explanation, "unusable");
    if (!why.isNull()) {
      if (!isFixable(why)) continue;
      const Value fixed = explainer.fixed(text, {}, std::nullopt);
      protocol.expectFits("fixed", compactJSON(fixed));
      EXPECT_TRUE(test::at(explainer.explanation(test::textAt(fixed, "payload"), {}), "unusable").isNull());
      continue;
    }
    const auto findings = test::at(explanation, "findings").elements();
    for (std::size_t i = 0; i < findings.size(); ++i) {
      if (!isFixable(findings[i])) {
        EXPECT_THROW(explainer.fixed(text, {}, i), InputError) << entry.path() << i;
        continue;
      }
      const Value fixed = explainer.fixed(text, {}, i);
      protocol.expectFits("fixed", compactJSON(fixed));
      const Value left = explainer.explanation(test::textAt(fixed, "payload"), {});
      EXPECT_NE(compactJSON(test::at(left, "findings")), compactJSON(test::at(explanation, "findings")))
          << entry.path();
      ++corrected;
    }
  }
  EXPECT_GT(corrected, 10U);
}

TEST(LabExplainer, PlacesAFindingInsideAddInfoToo) {
  LabExplainer explainer;
  const std::string payload = "{\"aps\": {\"alert\": \"Sale\"},\n \"addInfo\": \"{\\\"pellionPnID\\\": null}\"}";
  const Value explanation = explainer.explanation(payload, {});
  const Value finding = test::elements(test::at(explanation, "findings")).front();
  EXPECT_EQ(compactJSON(test::at(finding, "place")), R"({"line":2,"column":32})");
  EXPECT_EQ(compactJSON(test::at(finding, "inAddInfo")), R"({"line":1,"column":17})");
  const Value broken = explainer.explanation(R"({"aps": {"alert": "Sale"}, "addInfo": "{\"a\": 1,, 2}"})", {});
  EXPECT_EQ(compactJSON(test::at(test::elements(test::at(broken, "findings")).front(), "inAddInfo")),
            R"({"line":1,"column":9})");
  const Value summary = test::elements(test::at(explanation, "summary")).front();
  EXPECT_THAT(test::textAt(summary, "text"), HasSubstr(": not recorded: "));
  EXPECT_EQ(test::at(summary, "good"), Value(false));
}

TEST(LabExplainer, SaysWhyATextIsNoPayload) {
  LabExplainer explainer;
  test::Protocol protocol;
  const std::tuple<std::string, const char*, bool> cases[] = {
      {"", "the document is empty", false},
      {"[1]", "", false},
      {R"({"aps": {"alert": "Sale",}})", "", true},
      {std::string(LabExplainer::largestPayload + 1, ' '), "larger than 64 KiB", false},
      {std::string(10'000, '['), "", false},
      {"{\"a\": \"\xff\"}", "UTF-8", false},
  };
  for (const auto& [payload, text, fixable] : cases) {
    const Value explanation = explainer.explanation(payload, {});
    protocol.expectFits("explanation", compactJSON(explanation));
    const Value& why = test::at(explanation, "unusable");
    ASSERT_FALSE(why.isNull()) << payload.substr(0, 80);
    EXPECT_THAT(test::textAt(why, "text"), HasSubstr(text));
    EXPECT_EQ(isFixable(why), fixable) << payload.substr(0, 80);
  }
  const std::string deep = R"({"aps": {"alert": "A"}, "addInfo": ")" + std::string(10'000, '[') + "\"}";
  protocol.expectFits("explanation", compactJSON(explainer.explanation(deep, {})));
}

TEST(LabExplainer, KnowsTheSchemesOfEachRequestOnAnyThread) {
  LabExplainer explainer;
  const std::string payload =
      R"({"aps": {"alert": "Sale"}, "addInfo": "{\"pellionPnID\": 41, \"clickAction\": \"shop://sale\"}"})";
  const auto explained = [&](const char* scheme) {
    return std::async(std::launch::async, [&, scheme] { return explainer.explanation(payload, {scheme}); });
  };
  std::vector<std::pair<std::future<Value>, std::future<Value>>> pairs;
  for (int i = 0; i < 3; ++i) pairs.emplace_back(explained("shop"), explained("shoe"));
  for (auto& [known, other] : pairs) EXPECT_LT(codesOf(known.get()).size(), codesOf(other.get()).size());
}

}  // namespace
}  // namespace pellion

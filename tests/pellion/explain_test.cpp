#include "pellion/explain/explain.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/document/json_writer.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

const std::string payloads = PELLION_SOURCE_DIR "/examples/payloads/";

struct Told {
  int status;
  std::string text;
};
Told tell(std::vector<std::string> arguments) {
  std::ostringstream told;
  arguments.insert(arguments.begin(), "explain");
  const int status = runCommandLine(arguments, {.out = told, .err = told});
  return {status, test::singleSpaced(told.str())};
}

std::vector<std::string> linesOfFile(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

TEST(Explain, SaysOfEveryBrokenExampleWhyItIsNotCounted) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(payloads + "broken")) {
    if (entry.path().extension() != ".json") continue;
    ++count;
    const std::vector<std::string> expected =
        linesOfFile(std::filesystem::path(entry.path()).replace_extension(".expected"));
    ASSERT_GE(expected.size(), 2) << entry.path();
    const Told told = tell({entry.path()});
    EXPECT_EQ(std::to_string(told.status), expected.front()) << entry.path();
    for (std::size_t i = 1; i < expected.size(); ++i) EXPECT_THAT(told.text, HasSubstr(expected[i]));
  }
  EXPECT_EQ(count, 20);
}

TEST(Explain, FindsNothingInPayloadsThatAreCounted) {
  for (const char* name : {"news", "parcel", "sale"}) {
    const Told told = tell({payloads + name + ".json", "--scheme", "Shop"});
    EXPECT_EQ(told.status, 0) << told.text;
    EXPECT_THAT(told.text, AllOf(HasSubstr("recorded ✓ delivered"), HasSubstr("Nothing deserves attention")));
  }
}

TEST(Explain, FindsWhatDeservesAttention) {
  for (const Value& row : test::caseRows("pellion/cases/findings.json")) {
    const Value* const addInfo = row.find("addInfo");
    const Value payload =
        addInfo == nullptr ? test::at(row, "payload") : Value::dictionary({{"addInfo", compactJSON(*addInfo)}});
    std::vector<std::string> found;  // each with its place, in the text of addInfo where that has one
    for (const Finding& finding : explain("p", compactJSON(payload), {}).findings) {
      found.push_back(finding.code + " " + (finding.place.inText ? finding.place.inText->path : finding.place.path));
    }
    EXPECT_EQ(found, test::textsAt(row, "findings")) << test::textAt(row, "case");
  }
}

TEST(Explain, WritesForMachines) {
  const std::string addInfo =
      R"({"pellionPnID": 41, "actionButton": [{"action": "later", "clickAction": "shop://x"}]})";
  const std::string payload = compactJSON(Value::dictionary({{"addInfo", addInfo}}));
  EXPECT_EQ(compactJSON(jsonOf(explain("p", payload, {.action = "later"}))),
            compactJSON(test::caseJSON("pellion/cases/explanation.json")));
}

TEST(Explain, RefusesWhatIsNoPayload) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{PELLION_SOURCE_DIR "/nowhere.json"}, "nowhere.json: No such file or directory; give the path of a payload"},
      {{payloads + "sale.json", "--scheme", "shop://"}, "--scheme shop://: not the scheme of a URL; give its name"},
  };
  for (const auto& [arguments, error] : cases) {
    const Told told = tell(arguments);
    EXPECT_EQ(told.status, 2);
    EXPECT_THAT(told.text, HasSubstr(error));
  }
}

}  // namespace
}  // namespace pellion

#include "pellion/explain.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/command_line.h"
#include "pellion/json_writer.h"

namespace pellion {
namespace {

using namespace testing;

const std::string payloads = PELLION_SOURCE_DIR "/examples/payloads/";

struct Told {
  int status;
  std::string text;  ///< with every run of white space as one space
};
Told tell(std::vector<std::string> arguments) {
  std::ostringstream told;
  arguments.insert(arguments.begin(), "explain");
  const int status = runCommandLine(arguments, {.out = told, .err = told});
  std::istringstream words(told.str());
  std::string text;
  for (std::string word; words >> word;) text += (text.empty() ? "" : " ") + word;
  return {status, text};
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

std::string payloadWith(const std::string& addInfo) {
  return compactJSON(platform::Value::dictionary({{"addInfo", addInfo}}));
}

/// "code place" of every finding; the place is that in the text of addInfo where there is one.
std::vector<std::string> found(const std::string& payload) {
  std::vector<std::string> codes;
  for (const Finding& finding : explain("p", payload, {}).findings) {
    codes.push_back(finding.code + " " + (finding.place.inText ? finding.place.inText->path : finding.place.path));
  }
  return codes;
}

TEST(Explain, FindsWhatDeservesAttention) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"{}", {"addinfo-missing $"}},
      {R"({"addInfo": null})", {"addinfo-not-text $.addInfo"}},
      {R"({"addInfo": {"actionButton": [7, {"action": 7}]}})",
       {"addinfo-object $.addInfo", "id-missing $.addInfo", "button-not-an-object $.addInfo.actionButton[0]",
        "button-action-not-text $.addInfo.actionButton[1].action"}},
      {payloadWith("7"), {"addinfo-not-object $.addInfo"}},
      {payloadWith(R"({"pellionPnID": 1, "pellionPnID": 2})"), {"addinfo-unusual $.addInfo"}},
      {payloadWith(R"({"pellionPnID": "A41"})"), {"id-not-a-number $.pellionPnID"}},
      {payloadWith(R"({"pellionPnID": 41.7})"), {"id-not-a-number $.pellionPnID"}},
      {payloadWith(R"({"pellionPnID": "-3"})"), {"id-below-one $.pellionPnID"}},
      {payloadWith(R"({"PellionPnID": 41})"), {"key-misspelt $.PellionPnID"}},
      {payloadWith(R"({"pellionPnID": 41, "conversion": "shop"})"), {"goal-not-an-object $.conversion"}},
      {payloadWith(R"({"pellionPnID": 41, "conversion": {"group": 7, "event": "e"}})"),
       {"goal-not-text $.conversion.group"}},
      {payloadWith(R"({"pellionPnID": 41, "clickAction": "sale"})"), {"link-without-scheme $.clickAction"}},
      {payloadWith(R"({"pellionPnID": 41, "clickAction": "my shop://sale"})"), {"link-not-a-url $.clickAction"}},
      {payloadWith(R"({"pellionPnID": 41, "clickAction": "https://a?b=%20", "actionButton": [{"action": "a",)"
                   R"( "clickAction": "https://a?b=[0]"}]})"),
       {"link-not-encoded $.actionButton[0].clickAction"}},
      {payloadWith(R"({"pellionPnID": 41, "buttons": {"actionButton": [{}]}})"),
       {"key-misplaced $.buttons.actionButton", "button-without-action $.buttons.actionButton[0]"}},
      {payloadWith(R"({"pellionPnID": 41, "actionButton": [{"action": "a", "x": {"clickAction": "https://a"},)"
                   R"( "clickAction": "https://b"}]})"),
       {"key-misplaced $.actionButton[0].x.clickAction", "key-repeated $.actionButton[0].clickAction"}},
      {payloadWith(R"({"pellionPnID": 41, "data": {"clickAction": "https://a"}})"),
       {"key-misplaced $.data.clickAction"}},
  };
  for (const auto& [payload, findings] : cases) EXPECT_EQ(found(payload), findings) << payload;
}

TEST(Explain, WritesForMachines) {
  const std::string payload =
      payloadWith(R"({"pellionPnID": 41, "actionButton": [{"action": "later", "clickAction": "shop://x"}]})");
  EXPECT_EQ(
      compactJSON(jsonOf(explain("p", payload, {.action = "later"}))),
      R"({"file":"p","bytes":111,"happenings":[{"happening":"button","name":"later",)"
      R"("recorded":{"results":[{"notificationid":41,"timestamp":1767225600000,"status":5,"actionid":"later"}]},)"
      R"("opened":{"results":[],"stoppedAt":"open the click action","why":"\"shop://x\" needs the scheme \"shop\", )"
      R"(which the application does not declare and nothing else installed opens","isProblem":true},)"
      R"("openedByHandler":{"results":[],"stoppedAt":"open the click action","why":"\"shop://x\" needs the scheme )"
      R"(\"shop\", which the application does not declare and nothing else installed opens","isProblem":true},)"
      R"("goal":{"results":[],"stoppedAt":"remember the goal","why":"addInfo has no \"conversion\"",)"
      R"("isProblem":false},"badge":{"results":[],"stoppedAt":"hear of a badge",)"
      R"("why":"only what the application sets as its badge is stored","isProblem":false},"raised":null}],)"
      R"("findings":[{"code":"link-scheme-undeclared","place":{"line":1,"column":12,"path":"$.addInfo",)"
      R"("inText":{"path":"$.actionButton[0].clickAction","line":1,"column":73}},)"
      R"("text":"\"shop://x\" needs the scheme \"shop\", which the application does not declare and nothing else )"
      R"(installed opens",)"
      R"("remedy":"if the application does declare it, say --scheme shop; else declare it there, or use https"}]})");
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

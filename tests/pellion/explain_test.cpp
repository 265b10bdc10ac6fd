#include "pellion/explain/explain.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/explain/explanation_reports.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

const std::string examples = PELLION_SOURCE_DIR "/examples/";
const std::string payloads = examples + "payloads/";
const std::string brokenPayloads = payloads + "broken/";

struct Told {
  int status;
  std::string out;
  std::string err;
  [[nodiscard]] std::string text() const { return test::singleSpaced(out + err); }
};
Told tell(std::vector<std::string> arguments, std::size_t columns = 100) {
  std::ostringstream out;
  std::ostringstream err;
  arguments.insert(arguments.begin(), "explain");
  const int status = runCommandLine(arguments, {.out = out, .err = err, .columns = columns});
  return {status, out.str(), err.str()};
}

/// "5:14 error addinfo-object", or the error of a file that is unusable, without its name.
std::vector<std::string> findingsOf(const std::filesystem::path& path) {
  const std::string text = test::fileText(path);
  const std::string file = path.filename();
  const auto lines = [](const std::vector<Finding>& findings) {
    std::vector<std::string> found;
    for (const Finding& each : findings) {
      const std::string place = placeText("", each.place.position).substr(1);
      found.push_back(place + " " + nameOf(each.level) + " " + each.code);
    }
    return found;
  };
  try {
    if (path.string().find("/configurations/") != std::string::npos)
      return lines(judgeConfiguration(file, text).findings);
    return lines(Explainer({}).explain(file, text, false).findings);
  } catch (const DocumentError& error) {
    return {std::string(error.what()).substr(file.size() + 1)};
  }
}

TEST(Explain, FindsTheMistakeOfEachBrokenExample) {
  const Value table = test::caseJSON("pellion/cases/broken_examples.json");
  std::size_t count = 0;
  for (const char* folder : {"payloads/broken", "configurations/broken"}) {
    for (const auto& entry : std::filesystem::directory_iterator(examples + folder)) {
      const std::string name = std::string(folder) + "/" + entry.path().filename().string();
      const Value* expected = table.find(name);
      ASSERT_NE(expected, nullptr) << name << " has no row in broken_examples.json";
      ++count;
      std::vector<std::string> wanted;
      for (const Value& line : expected->elements()) wanted.emplace_back(line.text());
      EXPECT_FALSE(wanted.empty()) << name;
      EXPECT_EQ(findingsOf(entry.path()), wanted) << name;
    }
  }
  EXPECT_EQ(count, table.entries().size());
}

TEST(Explain, FindsNothingInGoodExamples) {
  const Told told = tell({payloads + "news.json", payloads + "parcel.json", payloads + "sale.json", "--scheme", "Shop",
                          "--configuration", examples + "configurations/shop.json"});
  EXPECT_EQ(told.status, 0);
  EXPECT_EQ(told.text(), "3 payloads: 0 errors, 0 warnings");
}

TEST(Explain, CorrectsWhatIsCertain) {
  for (const auto& entry : std::filesystem::directory_iterator(brokenPayloads)) {
    const std::string file = entry.path();
    if (file.find("scenario") != std::string::npos) continue;
    const Told told = tell({file, "--fix"});
    if (told.status == 2) {
      EXPECT_THAT(file, HasSubstr("json_quotes_not_escaped")) << told.err;
      continue;
    }
    EXPECT_NO_THROW(readJSON(file, told.out)) << told.out;
    EXPECT_EQ(told.status, told.err.find(": error: ") == std::string::npos ? 0 : 1) << told.err;
  }
  const Value content = Value::dictionary({{"pellionPnID", 41}, {"clickAction", "https://shop.example/sale"}});
  const std::string alert = "Only today: half price";
  const Value good =
      Value::dictionary({{"aps", Value::dictionary({{"alert", alert}})}, {"addInfo", compactJSON(content)}});
  for (const char* name : {"addinfo_as_object", "addinfo_base64", "addinfo_url_encoded", "addinfo_html_escaped",
                           "aps_as_text", "link_one_slash", "link_scheme_misspelt", "link_space_at_end"}) {
    const Told told = tell({brokenPayloads + name + ".json", "--fix"});
    EXPECT_EQ(told.status, 0) << told.err;
    const Value fixed = readJSON(name, told.out).value;
    EXPECT_EQ(test::at(fixed, "aps"), test::at(good, "aps")) << name;
    EXPECT_EQ(readJSON(name, test::textAt(fixed, "addInfo")).value, content) << name;
  }
}

TEST(Explain, FindsWhatIsWrong) {
  const Value aps = Value::dictionary({{"alert", "x"}});
  for (const Value& row : test::caseRows("pellion/cases/findings.json")) {
    const Value* const addInfo = row.find("addInfo");
    const Value* const link = row.find("link");
    Value payload =
        addInfo == nullptr && link == nullptr
            ? test::at(row, "payload")
            : Value::dictionary(
                  {{"aps", aps},
                   {"addInfo",
                    compactJSON(link == nullptr ? *addInfo
                                                : Value::dictionary({{"pellionPnID", 41}, {"clickAction", *link}}))}});
    std::vector<std::string> found;  // each with its place, in the text of addInfo where that has one
    std::string remedies;
    Explainer explainer({.urlSchemes = {"shop"}});
    for (const Finding& finding : explainer.explain("p", compactJSON(payload), false).findings) {
      found.push_back(finding.code + " " + (finding.place.inText ? finding.place.inText->path : finding.place.path));
      remedies += finding.text + "; " + finding.remedy + "\n";
    }
    EXPECT_EQ(found, test::textsAt(row, "findings")) << test::textAt(row, "case") << remedies;
    if (const Value* says = row.find("says")) {
      EXPECT_THAT(remedies, HasSubstr(says->text())) << test::textAt(row, "case");
    }
  }
}

TEST(Explain, SaysWhatResponsesLeadTo) {
  const std::string sale = payloads + "sale.json";
  const std::string same = brokenPayloads + "buttons_same_action.json";
  const std::string configurations = examples + "configurations/broken/";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::vector<std::string> says;
  } cases[] = {
      {{sale, "--scheme", "shop", "--all"},
       0,
       {"recorded ✓ delivered (status 4), notificationid 41", "goal ✓ shop_purchase"}},
      {{sale, "--voip"},
       0,
       {"✗ recorded, waits for the goal shop_purchase, opens nothing: \"shop://sale\" needs the scheme \"shop\", "}},
      {{sale, "--scheme", "shop", "--action", "later"},
       0,
       {"recorded ✓ responded (status 5), notificationid 41, actionid \"later\""}},
      {{sale, "--action", "snooze"},
       1,
       {"error: no button has the action \"snooze\", and a tap on it raises; the buttons are \"open\", \"later\""}},
      {{sale, "--action", "dismiss"}, 1, {"error: a dismissal raises NSInvalidArgumentException"}},
      {{brokenPayloads + "no_such_file.json"}, 2, {"No such file or directory"}},
      {{brokenPayloads + "addinfo_as_object.json", "--all"},
       1,
       {"recorded ✗ stops at \"read addInfo\"", "raises ✗ NSInvalidArgumentException"}},
      {{brokenPayloads + "goal_with_capitals.json"},
       0,
       {"reported as \"Shop_Purchase\" ✗ not recorded: pending is \"shop_purchase\""}},
      {{same, "--action", "open"}, 1, {"opens ✓ https://shop.example/sale"}},
      {{payloads + "parcel.json", "--configuration", configurations + "app_meta_missing.json"},
       1,
       {"error: APP_META is missing", "✗ not recorded: APP_META is missing in the configuration"}},
      {{payloads + "parcel.json", "--configuration", configurations + "server_clear_text.json"},
       1,
       {"✗ not recorded: SERVER_URL in the configuration makes every request fail"}},
      {{payloads + "parcel.json", "--configuration", configurations + "jwt_secret_empty.plist", "--all"},
       1,
       {"recorded ✗ stops at \"send the entry\": JWT_SECRET is empty in the configuration"}},
      {{payloads + "parcel.json", "--configuration", configurations + "portal_and_project_missing.json"},
       1,
       {"✗ not recorded: PORTAL_ID is missing in the configuration"}},
      {{payloads + "parcel.json", "--configuration", configurations + "device_id_missing.json"},
       1,
       {"✗ not recorded: DEVICE_ID is missing in the configuration"}},
      {{payloads + "parcel.json", "--configuration", configurations + "gzip_as_text.json"},
       1,
       {"✗ not recorded: GZIP in the configuration cannot be used"}},
      {{brokenPayloads + "aps_missing.json"}, 1, {"neither presents it nor wakes the application"}},
      {{brokenPayloads + "aps_as_text.json"}, 1, {"neither presents it nor wakes the application"}},
      {{brokenPayloads + "content_available_as_text.json", "--action", "tap"},
       1,
       {"but – without an alert in aps the platform shows nothing to respond to"}},
      {{sale, "--configuration", examples + "scenarios/a_day.json"}, 0, {"opens shop://sale"}},
      {{brokenPayloads + "link_with_space.json", "--configuration", examples + "scenarios/linked_before_17.json"},
       1,
       {"tapped ✗ recorded, opens nothing", "and no URL is formed of it"}},
      {{brokenPayloads + "payload_too_large.json", "--voip"}, 1, {"5310 bytes of 5120"}},
      {{payloads, "--format", "junit"},
       2,
       {"<testsuite name=\"pellion explain\"", "<failure message=", "<error message="}},
      {{examples + "scenarios"}, 0, {"not judged: ", "a_day.json:1:1: this is a scenario", "0 payloads: 0 errors"}},
      {{examples + "scenarios/a_day.json"}, 2, {"play it with: pellion run "}},
      {{"-", "--configuration", "-"}, 2, {"standard input is named twice"}},
      {{sale, "--scheme", "shop://"}, 2, {"--scheme shop://: not the scheme of a URL; give its name"}},
      {{payloads, "--fix"}, 2, {"--fix writes one payload, and "}},
      {{sale, "--fix", "--format", "json"}, 2, {"--format excludes --fix"}},
      {{brokenPayloads + "simulator_file_without_target.apns", "--fix"},
       0,
       {"target.apns, corrected:1:1: warning: the file has no \"Simulator Target Bundle\""}},
      {{brokenPayloads + "payload_not_json.json", "--format", "json"},
       2,
       {R"("unusable": "not JSON: )", R"("place": {"line":2,"column":47})"}},
  };
  for (const auto& [arguments, status, says] : cases) {
    const Told told = tell(arguments);
    EXPECT_EQ(told.status, status) << told.text();
    for (const std::string& text : says) EXPECT_THAT(told.text(), HasSubstr(text));
  }
}

TEST(Explain, ReadsTheConfigurationOfAScenarioAsARunDoes) {
  const TemporaryDirectory directory;
  const auto write = [&](const std::string& name, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(directory.path() / name).parent_path());
    std::ofstream(directory.path() / name) << text;
  };
  const std::string entries =
      R"("PORTAL_ID": "p", "PROJECT_ID": "p", "APP_VERSION_ID": "v", "FRAMEWORK_ID": "f", "DEVICE_ID": "d",
         "BEARER_TOKEN": "b", "JWT_SECRET": "s", "APP_GROUP": "g", "APP_META": {})";
  write("shared/ca.pem", "-----BEGIN CERTIFICATE-----");
  write("shared/text.pem", "no certificate");
  const struct {
    std::string scenario;
    std::string configuration;
    std::string says;
  } cases[] = {
      {R"({"steps": ["launch"], "urlSchemes": ["shop"]})", "", "1 payload: 0 errors, 0 warnings"},
      {"{ // no payload\n\"steps\": [\"launch\",], \"urlSchemes\": [\"shop\"]}", "", "1 payload: 0 errors, 0 w"},
      {R"({"steps": ["launch"], "configuration": "shared/c.json", "urlSchemes": ["shop"]})",
       "{\"CA_FILE\": \"ca.pem\", " + entries + "}", "1 payload: 0 errors, 0 warnings"},
      {R"({"steps": ["launch"], "configuration": "shared/c.json"})", "{\n\"GZIP\": 7, " + entries + "}",
       "shared/c.json:2:1: error: GZIP must be true or false"},
      {R"({"steps": ["launch"], "configuration": "shared/c.json"})", "{\"CA_FILE\": \"no.pem\", " + entries + "}",
       "shared/c.json:1:2: error: CA_FILE must name a file that exists; "},
      {R"({"steps": ["launch"], "configuration": "shared/c.json"})", "{\"CA_FILE\": \"text.pem\", " + entries + "}",
       "shared/c.json:1:2: error: CA_FILE must name certificates in PEM form; "},
      {R"({"steps": ["launch"], "configuration": "shared/none.json"})", "", "none.json: No such file or directory"},
  };
  for (const auto& [scenario, configuration, says] : cases) {
    write("s.json", scenario);
    write("shared/c.json", configuration);
    const Told told = tell({payloads + "sale.json", "--configuration", directory.path() / "s.json"});
    EXPECT_THAT(told.text(), HasSubstr(says)) << scenario;
  }
}

TEST(Explain, DescribesTheRuleOfEachFindingInSARIF) {
  std::set<std::string> rules;
  for (const std::string folder : {"payloads", "payloads/broken", "configurations/broken"}) {
    for (const auto& entry : std::filesystem::directory_iterator(examples + folder)) {
      if (entry.is_directory()) continue;
      const bool isConfiguration = folder.starts_with("configurations");
      std::vector<std::string> arguments{isConfiguration ? payloads + "news.json" : entry.path().string(), "--format",
                                         "sarif"};
      if (isConfiguration) arguments.insert(arguments.end(), {"--configuration", entry.path()});
      const Told told = tell(arguments);
      if (told.out.empty()) continue;  // a configuration that cannot be judged
      const Value report = readJSON("", told.out).value;
      const Value& run = test::at(report, "runs").elements()[0];
      for (const Value& rule : test::at(test::at(test::at(run, "tool"), "driver"), "rules").elements()) {
        rules.insert(test::textAt(rule, "id"));
        for (const char* part : {"shortDescription", "fullDescription", "help"}) {
          EXPECT_FALSE(test::textAt(test::at(rule, part), "text").empty());
        }
      }
      for (const Value& result : test::at(run, "results").elements()) {
        EXPECT_THAT(test::textAt(test::at(result, "message"), "text"), Not(HasSubstr(entry.path().string() + ":")));
      }
    }
  }
  EXPECT_GT(rules.size(), 40U);
}

TEST(Explain, FollowsTheWidthOfTheTerminal) {
  const std::string narrow = tell({payloads + "sale.json", "--scheme", "shop", "--all"}, 60).out;
  std::istringstream lines(narrow);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("/")) continue;  // the file
    EXPECT_LE(line.size(), 70) << line;   // in bytes
  }
}

TEST(Explain, WritesForMachines) {
  const std::string addInfo =
      R"({"pellionPnID": 41, "actionButton": [{"action": "later", "clickAction": "shop://x"}]})";
  const std::string payload =
      compactJSON(Value::dictionary({{"aps", Value::dictionary({{"alert", "x"}})}, {"addInfo", addInfo}}));
  const std::vector<Explanation> explanations{Explainer({.action = "later"}).explain("p", payload)};
  EXPECT_EQ(compactJSON(readJSON("", jsonReport(explanations)).value),
            compactJSON(test::caseJSON("pellion/cases/explanation.json")));
  const Value sarif = readJSON("", sarifReport(explanations)).value;
  const Value& result = test::at(test::at(sarif, "runs").elements()[0], "results").elements()[0];
  EXPECT_EQ(test::textAt(result, "ruleId"), "link-scheme-undeclared");
  EXPECT_EQ(compactJSON(test::at(test::at(test::at(result, "locations").elements()[0], "physicalLocation"), "region")),
            R"({"startLine":1,"startColumn":115})");
}

}  // namespace
}  // namespace pellion

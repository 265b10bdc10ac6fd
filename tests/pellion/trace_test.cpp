#include "pellion/timeline/trace.h"

#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/cli/end_signals.h"
#include "pellion/cli/standard_output.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

/// Calls `work` when a text has been written to it.
class Watch : public std::stringbuf {
 public:
  Watch(std::string text, std::function<void()> work) : text_(std::move(text)), work_(std::move(work)) {}
  int sync() override {
    if (str().find(text_) != std::string::npos) std::exchange(work_, [] {})();
    return 0;
  }

 private:
  const std::string text_;
  std::function<void()> work_;
};

class Traces : public Test {
 protected:
  [[nodiscard]] std::vector<std::string> lines() const {
    std::istringstream text(test::fileText(trace_));
    std::vector<std::string> found;
    for (std::string line; std::getline(text, line);) found.push_back(line);
    return found;
  }
  void write(const std::string& steps) const {
    std::ofstream(scenario_) << R"({"name": "N", "configuration": {"JWT_SECRET": "s"}, "steps": [)" << steps << "]}";
  }

  const test::TemporaryDirectory directory_;  // which no signal removes
  const std::string trace_ = directory_.path() / "trace";
  const std::string scenario_ = directory_.path() / "s.json";
};

TEST_F(Traces, AreAsTheirSchemaSays) {
  rapidjson::Document schemaText;
  const std::string schemaFile = test::fileText(PELLION_SOURCE_DIR "/docs/trace.schema.json");
  schemaText.Parse(schemaFile.c_str());
  ASSERT_FALSE(schemaText.HasParseError());
  const rapidjson::SchemaDocument schema(schemaText);
  std::vector<std::string> scenarios{PELLION_SOURCE_DIR "/tests/pellion/cases/secrets_everywhere.json"};  // it fails
  for (const auto& file : std::filesystem::directory_iterator(PELLION_SOURCE_DIR "/examples/scenarios")) {
    scenarios.push_back(file.path());
  }
  for (const std::string& scenario : scenarios) {
    std::ostringstream out;
    runCommandLine({"run", scenario, "--trace", trace_}, {.out = out, .err = out});
    std::multiset<std::string> sent;
    std::multiset<std::string> received;
    for (const std::string& line : lines()) {
      rapidjson::Document document;
      document.Parse(line.c_str());
      rapidjson::SchemaValidator validator(schema);
      EXPECT_TRUE(document.Accept(validator)) << scenario << "\n" << line;
      const Value event = readJSON("line", line).value;
      std::string request = compactJSON(test::at(event, "details"));
      request.erase(0, request.find(','));  // without its number
      if (test::textAt(event, "what") == "sends") sent.insert(request);
      if (test::textAt(event, "what") == "request") received.insert(request);
    }
    EXPECT_TRUE(std::ranges::includes(sent, received)) << scenario << ": the record is what is on the wire";
  }
}

TEST_F(Traces, AreDescribed) {
  const std::string page = test::fileText(PELLION_SOURCE_DIR "/docs/trace.md");
  const Value schema = readJSON("schema", test::fileText(PELLION_SOURCE_DIR "/docs/trace.schema.json")).value;
  for (const Value& branch : test::elements(test::at(schema, "oneOf"))) {
    const Value& event = test::at(branch, "properties");
    const auto name = [&](const char* part) {
      return "`" + std::string(test::elements(test::at(test::at(event, part), "enum")).front().text()) + "`";
    };
    EXPECT_THAT(page, ContainsRegex("\n\\| " + name("actor") + " \\| [^\n|]*" + name("what")));
  }
}

TEST_F(Traces, AreCompleteWhenASignalEndsTheProgram) {
  write(R"("launch", {"say": "now"}, {"advance": 60})");
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto runIt = [&] {
      Watch watch("advances by", [&] { kill(getpid(), signal); });
      std::ostream out(&watch);
      runCommandLine({"run", scenario_, "--realtime", "--trace", trace_},
                     {.out = out, .err = out, .cleanUpOnSignal = cleanUpOnSignal});
    };
    EXPECT_EXIT(runIt(), KilledBySignal(signal), "");
    const std::vector<std::string> found = lines();
    ASSERT_THAT(found, SizeIs(Ge(4U)));
    for (const std::string& line : found) EXPECT_EQ(compactJSON(readJSON("line", line).value), line);
    EXPECT_THAT(found.back(), HasSubstr(R"("what":"advances","details":{"seconds":60}})"));
  }
}

TEST_F(Traces, EndAsQuietlyAsTheOutputWhenItsReaderHasGone) {
  write(R"("launch", {"advance": 60})");
  const auto runIt = [&] {
    int ends[2];
    if (pipe(ends) != 0) return;
    close(ends[0]);
    StandardOutput output(ends[1]);
    std::ostream out(&output);
    runCommandLine({"run", scenario_, "--realtime", "--trace", trace_},
                   {.out = out, .err = std::cerr, .cleanUpOnSignal = cleanUpOnSignal});
  };
  EXPECT_EXIT(runIt(), KilledBySignal(SIGPIPE), "^$");
  EXPECT_THAT(lines(), Not(IsEmpty()));
}

}  // namespace
}  // namespace pellion

#include "pellion/cli/command_line.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/backend/backend.h"
#include "pellion/cli/end_signals.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"
#include "tests/support/raw_client.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

/// Runs command lines and writes the scenarios for them.
class CommandLine : public Test {
 protected:
  int run(const std::vector<std::string>& arguments) {
    out_.str("");
    err_.str("");
    return runCommandLine(arguments, {.out = out_, .err = err_, .runUntilEnd = whileRunning_});
  }
  std::string scenario(const std::string& steps, const std::string& configuration = "") {
    const std::string path = directory_.path() / "s.json";
    std::ofstream(path) << R"({"name": "N", "configuration": {"JWT_SECRET": "s", "BEARER_TOKEN": "very-secret-token",)"
                        << R"( "DEVICE_ID": "d", "PORTAL_ID": "p", "PROJECT_ID": "q", "APP_VERSION_ID": "v")"
                        << configuration << "}, \"urlSchemes\": [\"Mine\"],\n\"steps\": [\n"
                        << steps << "]}";
    return path;
  }

  TemporaryDirectory directory_;
  std::ostringstream out_;
  std::ostringstream err_;
  std::function<void(const std::function<void()>&)> whileRunning_ = [](const std::function<void()>& start) { start(); };
};

TEST_F(CommandLine, ShowsWantedAndFoundWhenAnExpectationFails) {
  for (const Value& group : test::caseRows("pellion/cases/expectations.json")) {
    const std::string before = compactJSON(test::at(group, "before"));
    for (const Value& row : test::elements(test::at(group, "cases"))) {
      std::string steps = before.substr(1, before.size() - 2);
      for (const Value& step : test::elements(test::at(row, "steps"))) steps += ",\n" + compactJSON(step);
      const std::string shows = test::textAt(row, "shows");
      const bool passes = shows == "✓ N";
      const std::string path = scenario(steps + R"(, {"say": "unreached"})", R"(, "APP_META": {}, "APP_GROUP": "g")");
      EXPECT_EQ(run({"run", path}), passes ? 0 : 1);
      EXPECT_THAT(test::singleSpaced(out_.str()), HasSubstr(shows));
      EXPECT_EQ(out_.str().find("✗ N") == std::string::npos, passes);
      EXPECT_EQ(out_.str().find("unreached") != std::string::npos, passes) << shows;
      EXPECT_THAT(out_.str(), Not(HasSubstr("secret-token")));
    }
  }
  const std::string good = scenario("\"launch\"");
  EXPECT_EQ(run({"run", good, good}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("2 of 2 scenarios passed"));
  EXPECT_EQ(run({"run", scenario("\"extension\"")}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("s.json:3:1: the extension shares no store with the application; add"));
}

std::size_t countOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST_F(CommandLine, SaysWhyNothingIsCountedOrOpenedAndOnlyThen) {
  for (const Value& row : test::caseRows("pellion/cases/reasons.json")) {
    const std::string name = test::textAt(row, "case");
    const Value* configuration = row.find("configuration");
    std::string steps;
    for (const Value& step : test::elements(test::at(row, "steps"))) {
      steps.append(steps.empty() ? "" : ",\n").append(compactJSON(step));
    }
    std::vector<std::string> arguments{
        "run", scenario(steps, configuration == nullptr ? "" : std::string(configuration->text()))};
    if (row.find("arguments") != nullptr) std::ranges::copy(test::textsAt(row, "arguments"), back_inserter(arguments));
    EXPECT_EQ(run(arguments), row.find("fails") != nullptr ? 1 : 0) << name << out_.str() << err_.str();
    const std::string text = test::singleSpaced(out_.str());
    const std::vector<std::string> shown = test::textsAt(row, "shows");
    for (std::string part : shown) {
      const auto times = static_cast<std::size_t>(std::ranges::count(shown, part));
      if (const std::size_t file = part.find("s.json"); file != std::string::npos)
        part.insert(file, directory_.path() / "");
      EXPECT_EQ(countOf(part, text), times) << name << ": " << part << '\n' << text;
    }
    const Value* hidden = row.find("hides");
    EXPECT_TRUE(hidden == nullptr || countOf(std::string(hidden->text()), text) == 0) << name << '\n' << text;
  }
}

TEST_F(CommandLine, KnowsWhatIsCountedByAnotherServer) {
  Backend server({});
  const std::string counted = scenario(
      R"("launch", {"deliver": {"addInfo": {"pellionPnID": 7}}}, {"expect": {"opened": []}})", R"(, "APP_META": {})");
  const std::vector<std::string> arguments{"run", counted, "--strict", "--server", server.url()};
  EXPECT_EQ(run(arguments), 0) << out_.str();
  server.answerWith({.status = 500});
  EXPECT_EQ(run(arguments), 1);
  EXPECT_THAT(
      test::singleSpaced(out_.str()),
      HasSubstr("s.json:3:11 answer 500 wanted an accepted answer, or a \"backend\" step that asks for this one "
                "found an answer that is not accepted: its status is not 200; let"));
}

TEST_F(CommandLine, ReportsUnusableInputInOneLine) {
  const Backend busy({});
  const std::string port = std::to_string(busy.port());
  const std::string good = scenario("\"launch\"");
  const std::string missing = directory_.path() / "missing.json";
  const std::string pipe = directory_.path() / "pipe";
  const std::string payload = directory_.path() / "payload.json";
  const std::string json5 = directory_.path() / "s.json5";
  const std::string naming = directory_.path() / "naming.json";
  std::ofstream(payload) << "{}";
  std::ofstream(json5) << "{}";
  std::ofstream(naming) << R"({"steps": ["launch", {"deliver": {"payload": "payload.json"}}]})";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{},
       "no command is given; the commands are\n    backend, explain, fleet, lab, new, run, schema, test; pellion "
       "--help "
       "shows how it is called"},
      {{"explian"},
       "not expected: explian; did you mean explain? The commands are\n    backend, explain, fleet, lab, new, run, "
       "schema, test; pellion --"},
      {{"run"}, "SCENARIO is required; pellion run --help shows"},
      {{"test", "--jobs=1", "--junti=a"}, "not expected: --junti; did you mean --junit? The options are"},
      {{"run", missing}, missing + ": No such file or directory"},
      {{"run", directory_.path()}, directory_.path().string() + ": Is a directory"},
      {{"run", good, missing}, "missing.json"},
      {{"run", missing + "\n\x1b[2J"}, "missing.json\\u000a\\u001b[2J: No such file"},
      {{"run", pipe}, pipe + ": not a regular file"},
      {{"run", good, "--trace", directory_.path() / "." / "s.json"}, "this is the input " + good},
      {{"run", good, "--trace", directory_.path() / "no" / "file"}, "No such file or directory"},
      {{"run", good, "--server", "ftp://127.0.0.1"}, "not an http or https URL"},
      {{"run", good, "--server", "http://127.0.0.1:1"}, "cannot be reached: Connection refused"},
      {{"run", good, "--server", "https://u:p@nowhere.invalid"},
       "--server https://nowhere.invalid: cannot be reached: "},
      {{"run", good, "--server", "http://nowhere.invalid"},
       "or name nowhere.invalid in the CLEAR_TEXT_HOSTS of " + good},
      {{"new", ""}, "NAME is empty; give the name of the file"},
      {{"new", missing, "--from", PELLION_SOURCE_DIR "/examples/payloads/broken/request_to_provider.json"},
       "write the payload alone to a file and give that: pellion explain --fix "},
      {{"run", PELLION_SOURCE_DIR "/examples/configurations/shop.json"},
       R"(this is a configuration, not a scenario; name it in one: "configuration": "shop.json")"},
      {{"explain", "--format", "jsn"}, "there is no jsn; did you mean json? It is one of json, junit, sarif, text"},
      {{"new"}, "NAME is required; pellion new --help shows"},
      {{"run", naming, "--trace", payload}, "this is the input " + payload},
      {{"test", naming, "--junit", payload}, "this is the input " + payload},
      {{"test", good, "--junit", "-"}, "--junit -: standard output has the results; give"},
      {{"new", json5}, json5 + ": exists already; give"},
      {{"new", good}, good + ": exists already; give another NAME, or replace it with --force"},
      {{"new", good, "--force", "--from", good},
       good + ":1:1: this is a scenario, not a payload; play it with: pellion"},
      {{"new", missing, "--from", missing}, missing + ": No such file or directory; give the path of a payload"},
      {{"new", directory_.path() / "no" / "file"}, "No such file or directory"},
      {{"backend", "--port", port}, "port " + port + " is not available: Address already in use"},
      {{"backend", "--port", "70000"}, "70000 not in range 0 to 65535"},
  };
  for (const auto& [arguments, text] : cases) {
    EXPECT_EQ(run(arguments), 2) << text;
    EXPECT_THAT(err_.str(), AllOf(HasSubstr("pellion: "), HasSubstr(text), ContainsRegex("^[^\n]*\n(    [^\n]*\n)*$")));
    EXPECT_EQ(out_.str(), "");
  }
  EXPECT_EQ(run({"run", scenario(R"({"congifure": {}})")}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("\"configure\"? The steps are\n    \"activate\", \"advance\", \"backend\", "));
  const std::string allowed = scenario("\"launch\"", R"(, "CLEAR_TEXT_HOSTS": ["nowhere.invalid"])");
  EXPECT_EQ(run({"run", allowed, "--server", "http://nowhere.invalid"}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("cannot be reached"));
  EXPECT_EQ(run({"run", scenario(R"({"backend": {}})"), "--server", "http://127.0.0.1:" + port}), 2);
  EXPECT_THAT(err_.str(), HasSubstr(":3:1: \"backend\" cannot be used with --server"));
  EXPECT_EQ(run({"run", scenario(R"({"configure": {"JWT_SECRET": null}})")}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("s.json:3:1: the configuration cannot be used: JWT_SECRET is missing"));
}

TEST_F(CommandLine, ReportsWhatItCannotWrite) {
  EXPECT_EQ(run({"run", scenario("\"launch\""), "--trace", "/dev/full"}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("not all of the trace could be written"));
  setenv("TMPDIR", "/nonexistent", 1);
  EXPECT_EQ(run({"run", scenario("\"launch\"")}), 2);
  unsetenv("TMPDIR");
  EXPECT_THAT(err_.str(), HasSubstr("set TMPDIR to a directory"));
  rlimit sizes{};
  getrlimit(RLIMIT_FSIZE, &sizes);
  const rlimit none{.rlim_cur = 0, .rlim_max = sizes.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  const std::string payload = PELLION_SOURCE_DIR "/examples/payloads/sale.json";
  for (const auto& arguments : {std::vector<std::string>{"run", scenario("\"launch\"")}, {"explain", payload}}) {
    setrlimit(RLIMIT_FSIZE, &none);
    const int status = run(arguments);
    setrlimit(RLIMIT_FSIZE, &sizes);
    EXPECT_EQ(status, 2);
    EXPECT_THAT(err_.str(),
                ContainsRegex("^pellion: /.*\\.plist: cannot be written: File too large; set TMPDIR to a "));
  }
  signal(SIGXFSZ, SIG_DFL);
  std::ofstream full("/dev/full");
  EXPECT_EQ(runCommandLine({"--version"}, {.out = full, .err = err_}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("not all of the output could be written"));
}

TEST_F(CommandLine, LeavesNoTemporaryFilesWhenASignalEndsIt) {
  const std::vector<std::string> arguments{"run", scenario(R"({"advance": 60})"), "--realtime"};
  const auto interrupt = [](std::function<void()> cleanUp) {
    cleanUpOnSignal(std::move(cleanUp));
    kill(getpid(), SIGTERM);
  };
  EXPECT_EXIT(runCommandLine(arguments, {.out = out_, .err = err_, .cleanUpOnSignal = interrupt}),
              KilledBySignal(SIGTERM), "");
  EXPECT_FALSE(std::filesystem::exists(directory_.path()));
}

TEST_F(CommandLine, RemovesOnlyTheFilesOfAKilledProgram) {
  const std::filesystem::path parent = directory_.path() / "parent";
  create_directories(parent / "pellion-backup");  // a name of the same form
  setenv("TMPDIR", parent.c_str(), 1);
  const TemporaryDirectory inUse;
  const auto directories = [&] { return std::distance(std::filesystem::directory_iterator(parent), {}); };
  const auto diesWithIt = [] {
    const TemporaryDirectory left;
    raise(SIGKILL);
  };
  EXPECT_EXIT(diesWithIt(), KilledBySignal(SIGKILL), "");
  EXPECT_EQ(directories(), 3);
  EXPECT_EQ(run({"run", scenario("\"launch\"")}), 0);
  unsetenv("TMPDIR");
  EXPECT_EQ(directories(), 2);
  EXPECT_TRUE(exists(inUse.path()));
}

TEST_F(CommandLine, RejectsMoreTimeThanAClockCanCount) {
  std::string steps = R"({"advance": 316224000})";
  for (int i = 1; i < 30; ++i) steps += R"(, {"advance": 316224000})";
  EXPECT_EQ(run({"run", scenario(steps)}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("s.json:3:"));
}

TEST_F(CommandLine, ShowsAnExampleForEachCommand) {
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(out_.str(), ContainsRegex("^pellion [0-9.]+\n$"));
  for (const char* command : {"run", "test", "explain", "backend", "fleet", "lab", "new", "schema"}) {
    EXPECT_EQ(run({command, "--help"}), 0);
    EXPECT_THAT(out_.str(), HasSubstr(std::string("Example: pellion ") + command));
  }
}

TEST_F(CommandLine, SendsToAServerAndTracesWithoutSecrets) {
  Backend server({});
  const std::string trace = directory_.path() / "trace";
  EXPECT_EQ(run({"run", scenario(R"("launch", {"configure": {"BEARER_TOKEN": "very\"-secret-token"}}, {"token": "0aff"},
                                    {"say": "a-very-secret-token, very\"-secret-token, http://u:-token@h/"},
                                    {"expect": {"keychain": {"com.tovrin.pellion.apnstoken": "0aff"}}})"),
                 "--server", server.url(), "--trace", trace, "--log"}),
            0)
      << out_.str() << err_.str();
  EXPECT_EQ(server.takeRequests().size(), 1U);
  for (const std::string& text : {out_.str(), test::fileText(trace)}) {
    EXPECT_THAT(text,
                AllOf(HasSubstr("Http headers -> "), HasSubstr("Bearer very… (19 characters)"), HasSubstr("http://h/"),
                      HasSubstr("a-very… (17 characters), very… (18 characters)"), Not(HasSubstr("-token"))));
  }
}

TEST_F(CommandLine, WritesAScenarioThatPassesForEachGoodPayload) {
  const std::string payloads = PELLION_SOURCE_DIR "/examples/payloads/";
  const std::string counted = "Delivered, tapped, counted";
  const struct {
    std::string payload;
    std::string one;
    std::string other;
    std::string name = "Delivered, tapped, counted";
    std::string warning = "";
  } cases[] = {
      {"", R"("opened": ["shop://sale"])", R"({ "goal": "shop_purchase" })"},
      {payloads + "sale.json", R"("urlSchemes": ["shop"])", R"([{ "notificationid": 41, "status": 6 }])"},
      {payloads + "parcel.json", R"("opened": ["https://shop.example/orders/7"])", R"("urlSchemes": [])"},
      {payloads + "news.json", R"([{ "notificationid": "43", "status": 5 }])",
       R"("headers": { "notificationid": "0aff)"},
      {payloads + "broken/link_with_space.json", R"("status": 5)", R"("tap")", counted, ": error: "},
      {payloads + "broken/link_as_number.json", R"("status": 4)", "// Not every", counted + " in part", ": error: "},
      {payloads + "broken/addinfo_as_object.json", R"("statistics": [])", "    // This is not counted. pellion explain",
       "Delivered, tapped, not counted",
       "warning: the scenario expects that nothing is counted: change it once the payload is correct\n" + payloads +
           "broken/addinfo_as_object.json:5:14: error: "},
      {payloads + "broken/aps_missing.json", R"("status": 4)", "// A phone neither shows",
       "Neither shown nor delivered by a phone", ":1:1: error: the payload has no"}};
  const std::string file = directory_.path() / "new.json";
  for (const auto& [payload, one, other, name, warning] : cases) {
    std::vector<std::string> arguments{"new", directory_.path() / "new", "--force"};
    if (!payload.empty()) arguments.insert(arguments.end(), {"--from", payload});
    EXPECT_EQ(run(arguments), 0) << err_.str();
    EXPECT_EQ(out_.str(), file + " is written; it passes as it is: pellion run " + file + "\n");
    EXPECT_EQ(err_.str().empty(), warning.empty()) << err_.str();
    EXPECT_THAT(err_.str(), HasSubstr(warning));
    EXPECT_THAT(test::fileText(file), AllOf(HasSubstr(one), HasSubstr(other)));
    EXPECT_EQ(run({"run", file, "--trace", directory_.path() / "trace"}), 0) << test::fileText(file) << out_.str();
    EXPECT_THAT(out_.str(), StartsWith(name + "  with the default configuration\n"));
    // Nothing happens that no expectation names: with other requests or links one of them fails.
    const std::string trace = test::fileText(directory_.path() / "trace");
    EXPECT_LT(trace.rfind(R"("what":"request")"), trace.rfind(R"("what":"met")"));
  }
}

TEST_F(CommandLine, ExpectsRequestsAndStatisticsAlsoOfAServer) {
  Backend server({});
  server.answerWith({.status = 404, .body = R"({"reason": "unknown"})", .headers = {{"Set-Cookie", "id=0123456789"}}});
  server.answerNext(1, {.status = 307, .headers = {{"Location", "/elsewhere?a=1#b"}}});
  const std::string trace = directory_.path() / "trace";
  const std::string steps = R"("launch", {"token": "0aff"},
      {"expect": {"requests": [{"headers": {"notificationid": "0aff"}}, {"path": "/elsewhere", "query": "a=1"}]}},
      {"deliver": {"addInfo": {"pellionPnID": 41}}}, {"expect": {"statistics": [{"notificationid": 41, "status": )";
  const std::string path = scenario(steps + R"("responded"}]}})", R"(, "APP_META": {})");
  EXPECT_EQ(run({"run", path, "--server", server.url(), "--trace", trace}), 1);
  EXPECT_THAT(test::singleSpaced(out_.str()),
              AllOf(HasSubstr("network is redirected by the response 307 to " + server.url() + "/elsewhere?a=1"),
                    HasSubstr(R"("pnstats":[{"notificationid":41,)"),
                    HasSubstr(R"(receives the response 404 {"reason": "unknown"})"), HasSubstr("entry 1.status")));
  EXPECT_THAT(test::fileText(trace),
              AllOf(HasSubstr(R"x(["Set-Cookie","id=0… (13 characters)"])x"), Not(HasSubstr("0123"))));
}

std::string payloadWith(const std::string& link) {
  const Value content = Value::dictionary({{"pellionPnID", 41}, {"clickAction", link}});
  return compactJSON(
      Value::dictionary({{"aps", Value::dictionary({{"alert", "x"}})}, {"addInfo", compactJSON(content)}}));
}

TEST_F(CommandLine, ReadsStandardInputWhereverAFileIsRead) {
  const auto runWith = [&](const std::string& input, const std::vector<std::string>& arguments) {
    const std::string path = directory_.path() / "input";
    std::ofstream(path) << input;
    const int before = dup(STDIN_FILENO);
    const int file = open(path.c_str(), O_RDONLY);
    dup2(file, STDIN_FILENO);
    const int status = run(arguments);
    dup2(before, STDIN_FILENO);
    close(file);
    close(before);
    return status;
  };
  const std::string good = test::fileText(scenario("\"launch\""));
  EXPECT_EQ(runWith(good, {"run", "-"}), 0) << err_.str();
  EXPECT_EQ(runWith(good, {"test", "-"}), 0) << err_.str();
  EXPECT_EQ(runWith(good, {"test", "-", "--filter", "n"}), 0) << err_.str();
  EXPECT_EQ(runWith(good, {"test", "-", "--filter", "none"}), 2);
  EXPECT_EQ(runWith(test::fileText(PELLION_SOURCE_DIR "/examples/payloads/news.json"), {"new", "-", "--from", "-"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr(R"("notification": { "payload": {)"));
  const std::string misspelt = payloadWith("htps://x.example/");
  EXPECT_EQ(runWith(misspelt, {"new", "-", "--from", "-"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("\"urlSchemes\": []"));
  EXPECT_THAT(err_.str(), HasSubstr("the scheme \"htps\" looks like \"https\""));
  EXPECT_EQ(runWith(test::fileText(PELLION_SOURCE_DIR "/examples/payloads/news.json"), {"new", "-", "--from", "-"}), 0);
  EXPECT_EQ(runWith(out_.str(), {"run", "-", "--trace", "-"}), 0) << err_.str();
  EXPECT_THAT(out_.str(), AllOf(StartsWith("{\"time\""), Not(HasSubstr("✓ Delivered"))));
  EXPECT_THAT(err_.str(), HasSubstr("✓ Delivered, tapped, counted"));
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"run", "-", "-"},
                                                    {"explain", "-", "--configuration", "-"},
                                                    {"backend", "--script", "-", "--tls", "-", "x"},
                                                    {"backend", "--tls", "-", "-"}}) {
    EXPECT_EQ(runWith("{}", arguments), 2);
    EXPECT_EQ(err_.str(), "pellion: standard input is named twice; give one of the two as a file\n");
  }
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"run", "-"}, {"test", "-"}, {"explain", "-"}, {"backend", "--script", "-"}}) {
    EXPECT_EQ(runWith("{", arguments), 2);
    EXPECT_THAT(err_.str(), StartsWith("pellion: standard input:1:2: not JSON")) << arguments.front();
  }
}

TEST_F(CommandLine, ShowsEachRequestThatTheBackendAloneReceives) {
  whileRunning_ = [&](const std::function<void()>& start) {
    start();
    const std::string listening = out_.str();
    const auto port = static_cast<std::uint16_t>(std::stoi(listening.substr(listening.rfind(':') + 1)));
    test::exchange(port, test::post("/x?deviceid=d", "", "no JWT"));
    test::exchange(port, test::post("/shared-secret", "X: shared-secret\r\n", "{\"a\": \"a shared-secret\"}"));
  };
  EXPECT_EQ(run({"backend", "--secret", "shared-secret"}), 0);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("POST /x\n"), HasSubstr("device d\n"), HasSubstr("✗ not a JWT"),
                                HasSubstr("responds with 200"), Not(HasSubstr("ed-secret")),
                                HasSubstr("POST /shar… (13 characters)\n"), HasSubstr("a shar… (13 characters)")));
}

}  // namespace
}  // namespace pellion

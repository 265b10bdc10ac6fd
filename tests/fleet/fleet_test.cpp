#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "pellion/backend/backend.h"
#include "pellion/cli/command_line.h"
#include "pellion/text/json_reader.h"
#include "tests/support/cases.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

/// Plays fleets by the command line, in real time, so briefly.
class Fleets : public Test {
 protected:
  int play(const std::string& plan, std::vector<std::string> options = {}) {
    const std::string path = directory_.path() / "p.json";
    std::ofstream(path) << plan;
    options.insert(options.begin(), {"fleet", path, "--json", figures_});
    return runCommandLine(options, {.out = out_, .err = err_, .stopOnSignal = stopOnSignal_});
  }
  Value figures() const { return readJSON("figures", test::fileText(figures_)).value; }
  std::int64_t count(const std::string& kind, const char* ending) const {
    return test::at(test::at(test::at(figures(), "carried"), kind.c_str()), ending).integer();
  }

  const test::TemporaryDirectory directory_;
  const std::string figures_ = directory_.path() / "figures.json";
  std::ostringstream out_;
  std::ostringstream err_;
  std::function<void(std::function<void()>, std::function<void()>)> stopOnSignal_ = [](const auto&, const auto&) {};
};

constexpr const char* busyPlan = R"({
  "phones": 30, "rate": 1000, "for": 2,
  "notifications": {"n": {"addInfo": {"pellionPnID": 7}}},
  "kinds": [{"name": "a", "life": {"steps": ["launch", {"token": "0a"}, {"repeat": {"times": 2, "steps": [
    {"advance": [0.05, 0.1]}, {"deliver": "n"}, {"maybe": {"chance": 1, "steps": [{"tap": "n"}]}}]}}]}},
    {"name": "b", "weight": 2, "life": {"steps": ["launch", {"token": "0b"}]}}],
  "waves": [{"name": "w", "at": 0.3, "over": 0.2, "kinds": ["b"], "steps": ["relaunch", {"token": "0c"}]}],
  "faults": [{"at": 0.3, "for": 0.1, "backend": {"status": 503}}]
})";

TEST_F(Fleets, AccountForAllThatTheirPhonesSend) {
  ASSERT_EQ(play(busyPlan, {"--audit", "--threads", "2"}), 0) << out_.str() << err_.str();
  const Value audit = test::at(figures(), "audit");
  EXPECT_THAT(out_.str(), HasSubstr("The two sides agree on each of them."));
  EXPECT_EQ(test::at(audit, "sent"), test::at(audit, "received")) << out_.str();
  const std::int64_t launches = test::at(figures(), "launches").integer();
  EXPECT_EQ(count("token", "accepted") + count("token", "refused"), launches);
  const std::int64_t ofKindB = launches - 30;  // relaunched by the wave
  EXPECT_EQ(count("delivered", "accepted") + count("delivered", "refused"), 2 * (30 - ofKindB));
  EXPECT_EQ(count("responded", "accepted") + count("responded", "refused"), 2 * (30 - ofKindB));
  EXPECT_THAT(ofKindB, AllOf(Gt(10), Lt(28))) << "about two thirds";
}

TEST_F(Fleets, GiveEachPhoneItsIdentityAndSendOnlyToTheServerThatWasNamed) {
  Backend elsewhere({});
  Backend server(
      {.answer = {.status = 302, .headers = {{"Location", "http://localhost:" + std::to_string(elsewhere.port())}}}});
  const std::string plan = R"({"phones": 3, "for": 0.3, "configuration": {"DEVICE_ID": "d-{phone}", "BEARER_TOKEN": "b",
    "JWT_SECRET": "s", "APP_VERSION_ID": "v", "APP_META": {}, "PORTAL_ID": "p", "PROJECT_ID": "q"},
    "kinds": [{"name": "a", "life": {"steps": ["launch", {"token": "0a"}]}}]})";
  ASSERT_EQ(play(plan, {"--server", server.url(), "--rate", "1000/s"}), 0) << err_.str();
  std::vector<std::string> tokens;
  std::vector<std::string> targets;
  for (const ReceivedRequest& request : server.takeRequests()) {
    tokens.push_back(*request.findHeader("notificationid"));
    targets.push_back(request.target + request.body);
    for (const NameAndValue& field : request.headers) targets.back() += field.second + ' ';
  }
  EXPECT_THAT(tokens, UnorderedElementsAre("0a0000000000000001", "0a0000000100000001", "0a0000000200000001"));
  for (const char* device : {"d-0", "d-1", "d-2"}) EXPECT_THAT(targets, Contains(HasSubstr(device)));
  EXPECT_EQ(count("token", "refused"), 3);
  EXPECT_TRUE(elsewhere.takeRequests().empty());
}

TEST_F(Fleets, EndInOrderWithASignal) {
  stopOnSignal_ = [](const std::function<void()>& stop, const auto&) { stop(); };
  const std::string plan = R"({"for": 3600, "kinds": [{"name": "a", "life": {"steps": ["launch", {"token": "0a"}]}}]})";
  ASSERT_EQ(play(plan), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("ended early"));
}

TEST_F(Fleets, CountWhatEndsApplications) {
  const std::string plan =
      R"({"for": 0.5, "phones": 2, "rate": 1000, "notifications": {"n": {"payload": {"addInfo": 7}}},
    "kinds": [{"name": "a", "life": {"steps": ["launch", {"deliver": "n"}, "relaunch", {"token": "0a"}]}}],
    "waves": [{"name": "w", "at": 0.2, "steps": [{"configure": {"JWT_SECRET": null}}]}]})";
  ASSERT_EQ(play(plan), 0) << err_.str();
  EXPECT_THAT(out_.str(),
              AllOf(HasSubstr("application ended: NSInvalidArgumentException"),
                    HasSubstr("application ended: the configuration cannot be used: JWT_SECRET is missing")));
  EXPECT_EQ(test::at(figures(), "launches").integer(), 2) << "their lives ended with their applications";
}

TEST_F(Fleets, KeepNoThreadForALifeThatTakesNoTime) {
  const std::string plan =
      R"({"for": 0.2, "phones": 2, "kinds": [{"name": "a", "speed": 1e9, "life": {"steps": ["launch",
    {"repeat": {"steps": [{"repeat": {"times": 1000000, "steps": [{"advance": 0.5}, "activate"]}}, {"advance": 0.5}]}}]}}]})";
  EXPECT_EQ(play(plan), 0) << err_.str();
}

TEST_F(Fleets, AreRefusedWhereTheyCouldDoHarm) {
  const std::string plan = R"({"kinds": [{"name": "a", "life": {"steps": ["launch"]}}]})";
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--server", "https://push.example.org"}, "give --yes-this-is-my-server push.example.org"},
      {{"--server", "https://push.example.org", "--yes-this-is-my-server", "example.org"},
       "if push.example.org is yours"},
      {{"--server", "http://push.example.org", "--yes-this-is-my-server", "push.example.org"}, "use https"},
      {{"--server", "http://127.0.0.1:1"}, "cannot be reached"},
      {{"--server", "http://127.0.0.1:1", "--audit"}, "--audit compares with the built-in backend; leave out --server"},
      {{"--rate", "fast"}, "--rate fast: not a number of phones a second; give one such as 200/s"},
      {{"--for", "3 days"}, "--for 3 days: not a duration"},
      {{"--phones", "0"}, "--phones"}};
  for (const auto& [options, error] : cases) {
    EXPECT_EQ(play(plan, options), 2);
    EXPECT_THAT(err_.str(), HasSubstr(error));
    err_.str("");
  }
  EXPECT_EQ(play(std::string(busyPlan), {"--server", "http://127.0.0.1:1"}), 2);
  EXPECT_THAT(err_.str(), HasSubstr("its \"faults\" are those of the built-in backend"));
}

}  // namespace
}  // namespace pellion

// Sessions with a phone of the lab: actions of a page in, messages out, and a scenario that passes.

#include "pellion/lab/lab_phone.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <fstream>
#include <sstream>

#include "pellion/backend/backend_connection.h"
#include "pellion/cli/command_line.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"
#include "tests/lab/protocol.h"
#include "tests/support/cases.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;

constexpr const char* shop = R"({"urlSchemes": ["shop"], "steps": []})";
constexpr const char* salePayload =
    R"({"aps": {"alert": {"title": "Sale", "body": "Half price"}, "badge": 2}, "addInfo": "{\"pellionPnID\": 41,)"
    R"( \"clickAction\": \"shop://sale\", \"conversion\": {\"group\": \"shop\", \"event\": \"purchase\"},)"
    R"( \"actionButton\": [{\"action\": \"later\"}]}"})";

constexpr const char* configuration =
    R"("PORTAL_ID": "p", "PROJECT_ID": "q", "APP_VERSION_ID": "v", "FRAMEWORK_ID": "f", "DEVICE_ID": "d",)"
    R"( "BEARER_TOKEN": "secret-bearer", "JWT_SECRET": "secret-key", "APP_META": {"name": "Shop"})";

Value action(const std::string& text) { return readJSON("action", text).value; }
Value deliver(const char* payload, const char* name = "sale") {
  return Value::dictionary({{"do", "deliver"}, {"payload", payload}, {"name", name}});
}

class LabPhones : public Test {
 protected:
  void open(const std::string& scenario) { phone_.emplace(network_, scenario, std::nullopt); }

  /// Performs the actions and waits for their end, which an action that is refused shows. Returns the new messages.
  std::vector<MessageLog::Message> perform(const std::vector<Value>& actions) {
    for (const Value& each : actions) phone_->perform(each);
    phone_->perform(action(R"({"do": "respond", "notification": "the end", "with": "tap"})"));
    std::vector<MessageLog::Message> all;
    for (bool hasEnded = false; !hasEnded;) {
      auto news = phone_->messages().after(last_, 1000, std::chrono::seconds(60)).value();
      for (MessageLog::Message& message : news) {
        last_ = message.id;
        hasEnded |= message.kind == "refused" && message.data.find("the end") != std::string::npos;
        if (message.kind == "refused" && !hasEnded)
          refused_ = readJSON("refused", message.data).find("error")->value.text();
        if (message.kind == "state") state_ = readJSON("state", message.data).value;
        if (message.kind == "chain") chain_ = readJSON("chain", message.data).value;
        all.push_back(std::move(message));
      }
    }
    return all;
  }
  const Value& state(const char* name) { return test::at(state_, name); }

  /// Who is called for each callback, and who is missing.
  std::string orders() {
    std::string text;
    for (const Value& callback : test::at(chain_, "callbacks").elements()) {
      text += std::string(test::at(callback, "callback").text()) + ":";
      for (const Value& each : test::at(callback, "order").elements())
        text.append(" ").append(test::at(each, "name").text());
      for (const Value& each : test::at(callback, "missing").elements()) {
        text.append(" without ").append(test::at(each, "name").text());
      }
      text += "\n";
    }
    return text;
  }

  /// Runs the kept scenario as a user would.
  std::string testKept() {
    const std::string path = directory_.path() / "kept.json";
    std::ofstream(path) << phone_->scenario().value();
    std::ostringstream out;
    std::ostringstream err;
    const int status = runCommandLine({"test", path}, {.out = out, .err = err});
    return status == 0 ? "passes" : out.str() + err.str() + *phone_->scenario();
  }

  services::Network network_;
  const test::TemporaryDirectory directory_;
  std::optional<LabPhone> phone_;
  std::uint64_t last_ = 0;
  std::string refused_;
  Value state_;
  Value chain_;
};

const Value tap = action(R"({"do": "respond", "notification": "sale", "with": "tap"})");
const Value openIt = action(R"({"do": "open"})");

TEST_F(LabPhones, ShowWhatAppsAndUsersDoWithANotification) {
  open(shop);
  perform({openIt, action(R"({"do": "step", "step": {"token": "0aff"}})"), deliver(salePayload)});
  EXPECT_EQ(state("token"), Value("0aff"));
  const Value shown = state("notifications").elements().front();
  EXPECT_EQ(compactJSON(shown), R"({"name":"sale","title":"Sale","subtitle":"","body":"Half price",)"
                                R"("buttons":[{"action":"later","title":"later"}],"time":0.0,"shown":["banner"]})");
  EXPECT_TRUE(state("badge").isNull()) << "the application asks for a banner alone";
  perform({tap, action(R"({"do": "step", "step": {"goal": "shop_purchase"}})")});
  EXPECT_EQ(compactJSON(state("total")), R"({"delivered":1,"responded":1,"converted":1})");
  EXPECT_EQ(compactJSON(state("opened")), R"(["shop://sale"])");
  EXPECT_EQ(testKept(), "passes");
}

TEST_F(LabPhones, FollowTheApplicationThroughItsLife) {
  open(shop);
  perform({deliver(salePayload)});
  EXPECT_EQ(state("notifications").elements().size(), 1U) << "the phone shows it without the application";
  EXPECT_EQ(state("running"), Value(false));
  perform({tap});
  EXPECT_EQ(state("open"), Value(true)) << "a tap launches the application";
  const std::string counted = compactJSON(state("total"));
  perform({action(R"({"do": "close"})"), deliver(salePayload)});
  EXPECT_EQ(state("open"), Value(false));
  EXPECT_EQ(state("badge"), Value(2)) << "in the background the phone counts what the sender asks for";
  EXPECT_EQ(compactJSON(state("total")), counted) << "an alert alone does not wake the application";
  const Value silent = deliver(R"({"aps": {"content-available": 1}, "addInfo": "{\"pellionPnID\": 7}"})", "silent");
  perform({openIt, silent});
  EXPECT_EQ(state("open"), Value(true)) << "a silent notification is not shown";
  EXPECT_EQ(state("notifications").elements().size(), 2U) << "the sale alone, twice";
  perform({action(R"({"do": "kill"})")});
  EXPECT_EQ(state("running"), Value(false));
  perform({silent});
  EXPECT_EQ(state("running"), Value(true)) << "it asks the platform to wake the application";
  EXPECT_EQ(state("open"), Value(false));
  const auto dismiss = [](const char* name) {
    return Value::dictionary({{"do", "respond"}, {"notification", name}, {"with", "dismiss"}});
  };
  perform({action(R"({"do": "kill"})"), deliver(R"({"aps": {"alert": "News", "category": "news"}})", "news"),
           dismiss("sale")});
  EXPECT_EQ(state("running"), Value(false)) << "no category asks for the dismissal";
  perform({dismiss("news")});
  EXPECT_EQ(state("notifications").elements().size(), 1U);
  EXPECT_EQ(state("running"), Value(true));
  EXPECT_EQ(state("open"), Value(false)) << "a dismissal launches the application in the background";
  EXPECT_EQ(testKept(), "passes") << "in spite of what the dismissal raises";
}

TEST_F(LabPhones, LetTimePassUntilNothingIsDue) {
  open(shop);
  perform({openIt, action(R"({"do": "wait", "seconds": 60})"),
           Value::dictionary({{"do", "extension"}, {"payload", salePayload}}), action(R"({"do": "close"})"), openIt});
  EXPECT_EQ(state("time"), Value(60.0));
  perform({action(R"({"do": "wait"})")});
  EXPECT_EQ(state("time"), Value(63.0)) << "the entry that the extension left is sent three seconds after";
  EXPECT_EQ(compactJSON(state("total")), R"({"delivered":1,"responded":0,"converted":0})");
  EXPECT_EQ(testKept(), "passes");
}

TEST_F(LabPhones, KeepSessionsThatPass) {
  constexpr const char* counted =
      R"({"notifications": {"n": {"addInfo": {"pellionPnID": 7}}},
          "steps": ["launch", {"tap": "n"}, {"expect": {"statistics": [{"notificationid": 7}]}}]})";
  constexpr const char* delegates = R"({"delegates": {"App": {"implements": {"token": {}}}},
                                        "application": {"delegate": "App"}, "steps": []})";
  const Value other = deliver(R"({"aps": {"alert": "News"}, "addInfo": "{\"pellionPnID\": 8}"})", "news");
  const auto step = [](const std::string& text) { return action(R"({"do": "step", "step": )" + text + "}"); };
  const auto kit = [&](const std::string& name, const char* does) {
    return step(R"({"kit": {"name": ")" + name + R"(", "does": ")" + does + R"(", "of": "application"}})");
  };
  const Value token = step(R"({"token": "0aff"})");
  const Value dismiss = action(R"({"do": "respond", "notification": "n", "with": "dismiss"})");
  const Value rest = action(R"({"do": "rest"})");
  const Value next = action(R"({"do": "next"})");
  const Value halfSecond = action(R"({"do": "wait", "seconds": 0.57})");
  const Value tenYears = action(R"({"do": "wait", "seconds": 315360000})");
  const std::tuple<const char*, const char*, std::vector<Value>> cases[] = {
      {"an error", shop, {step(R"({"backend": {"status": 503}})"), openIt, token, deliver(salePayload), tap}},
      {"no connection", shop, {step(R"({"backend": {"connection": "refused"}})"), openIt, deliver(salePayload)}},
      {"half an answer", shop, {step(R"({"backend": {"sends": "half the body"}})"), openIt, token}},
      {"one error", shop, {step(R"({"backend": {"status": 401, "times": 1}})"), openIt, token, token}},
      {"redirects", shop, {step(R"({"backend": {"status": 302, "headers": {"Location": "/x"}}})"), openIt, token}},
      {"requests after statistics", shop, {openIt, deliver(salePayload), token}},
      {"no device", shop, {openIt, step(R"({"consent": {"deviceId": null}})"), deliver(salePayload), token}},
      {"an empty device", shop, {openIt, step(R"({"consent": {"deviceId": ""}})"), deliver(salePayload), token}},
      {"more after a scenario", counted, {rest, token, other, dismiss}},
      {"more within a scenario", counted, {next, dismiss, rest, other, token}},
      {"renamed methods", delegates, {openIt, kit("A", "exchanges"), kit("B", "exchanges"), token}},
      {"a renamed subclass", delegates, {openIt, kit("A", "subclasses"), kit("B", "exchanges"), token}},
      {"parts of a second", shop, {openIt, deliver(salePayload), tap, halfSecond, halfSecond, halfSecond, token}},
      {"decades", shop, {openIt, tenYears, tenYears, token}}};
  for (const auto& [name, scenario, actions] : cases) {
    SCOPED_TRACE(name);
    last_ = 0;
    refused_.clear();
    open(scenario);
    perform(actions);
    EXPECT_EQ(testKept(), "passes");
    EXPECT_EQ(refused_, "");
  }
}

TEST_F(LabPhones, StepThroughAnOpenedScenario) {
  open(R"({"notifications": {"n": {"addInfo": {"pellionPnID": 7, "actionButton": [{"action": "later"}]}}},
           "steps": ["launch", {"deliver": "n"}, {"expect": {"statistics": [{"notificationid": 8}]}}, {"tap": "n"}]})");
  perform({action(R"({"do": "next"})"), action(R"({"do": "next"})")});
  const auto states = [this] {
    std::string text;
    for (const Value& step : state("steps").elements()) text += std::string(test::at(step, "state").text()) + " ";
    return text;
  };
  EXPECT_EQ(states(), "done done waiting waiting ");
  const Value shown = state("notifications").elements().front();
  EXPECT_EQ(compactJSON(test::at(shown, "buttons")), R"([{"action":"later","title":"later"}])");
  perform({action(R"({"do": "rest"})")});
  EXPECT_EQ(states(), "done done failed waiting ") << "it stops where pellion run does";
  EXPECT_EQ(state("outcome"), Value("failed"));
  perform({action(R"({"do": "rest"})"), action(R"({"do": "next"})")});
  EXPECT_THAT(refused_, HasSubstr("no step waits"));
  EXPECT_EQ(states(), "done done failed done ");
}

TEST_F(LabPhones, JudgeAnOpenedScenarioAsARunOfItDoes) {
  const std::string begin = R"({"notifications": {"n": {"addInfo": {"pellionPnID": 7}}},
                                "steps": ["launch", {"dismiss": "n"}, )";
  const std::string raised = R"({"expect": {"raised": "attempt to insert nil object"}})";
  const struct {
    std::string steps, states;
    Value outcome;
  } cases[] = {{raised + "]}", "done done done ", "passed"},
               {raised + R"(, {"dismiss": "n"}]})", "done done done failed ", "failed"},
               {R"("activate", )" + raised + "]}", "done failed waiting waiting ", "failed"}};
  for (const auto& [steps, states, outcome] : cases) {
    open(begin + steps);
    last_ = 0;
    perform({action(R"({"do": "next"})")});
    EXPECT_TRUE(state("outcome").isNull());
    perform({action(R"({"do": "rest"})")});
    std::string found;
    for (const Value& step : state("steps").elements()) found += std::string(test::at(step, "state").text()) + " ";
    EXPECT_EQ(found, states);
    EXPECT_EQ(state("outcome"), outcome) << states;
  }
  open(begin + raised + "]}");
  last_ = 0;
  perform({action(R"({"do": "next"})"), action(R"({"do": "next"})"), openIt});
  EXPECT_THAT(refused_, HasSubstr("press Next step first"));
}

TEST_F(LabPhones, ShowWhoIsCalledInWhichOrder) {
  open(R"({"application": {"startsService": false, "delegate": "App", "notificationDelegate": "Center"},
           "delegates": {"App": {"implements": {"token": {}, "background": {"result": "newData"}}},
                         "Center": {"implements": {"foreground": {"shows": ["banner"]}, "response": {}}}},
           "steps": ["launch",
                     {"kit": {"name": "Ads", "does": "replaces", "of": "notificationCenter"}}, "startService",
                     {"kit": {"name": "Late", "does": "exchanges", "of": "notificationCenter"}}]})");
  perform({action(R"({"do": "next"})"), action(R"({"do": "next"})"), action(R"({"do": "next"})")});
  EXPECT_EQ(orders(),
            "token: module App\nfailure: module\nbackground: module App\n"
            "foreground: module Ads Center\nresponse: module Ads Center\n");
  perform({action(R"({"do": "next"})")});
  EXPECT_EQ(orders(),
            "token: module App\nfailure: module\nbackground: module App\n"
            "foreground: Late module without Ads without Center\nresponse: Late module without Ads without Center\n")
      << "the module finds no method under the kit's selector";
  const Value center = test::at(chain_, "delegates").elements()[1];
  EXPECT_EQ(compactJSON(center),
            R"({"of":"notificationCenter","object":"Center","classes":[{"name":"Center","methods":[)"
            R"({"callback":"foreground","owner":"Late","kind":"kit"},)"
            R"({"callback":"response","owner":"Late","kind":"kit"}]}]})");
  perform({action(R"({"do": "kill"})")});
  EXPECT_EQ(compactJSON(chain_), R"({"delegates":[],"callbacks":[]})");
}

TEST_F(LabPhones, KnowWhoShouldBeCalled) {
  open(R"({"application": {"startsService": false, "delegate": "App", "notificationDelegate": "Heir"},
           "delegates": {"App": {}, "Base": {"implements": {"foreground": {}}}, "Heir": {"inherits": "Base"},
                         "Proxy": {"forwardsTo": "Base"}, "Watcher": {"implements": {"token": {}}}},
           "steps": []})");
  const auto step = [](const std::string& text) { return action(R"({"do": "step", "step": )" + text + "}"); };
  const auto lineOf = [this](const std::string& callback) {
    const std::string all = orders();
    return all.substr(all.find(callback), all.find('\n', all.find(callback)) - all.find(callback));
  };
  const Value late = step(R"({"kit": {"name": "Late", "does": "exchanges", "of": "notificationCenter"}})");
  perform({openIt, step(R"("startService")"), step(R"({"registerInterceptor": "Watcher"})"), late});
  EXPECT_EQ(lineOf("token:"), "token: module Watcher");
  EXPECT_EQ(compactJSON(state("interceptors")), R"(["Watcher"])");
  EXPECT_EQ(lineOf("foreground:"), "foreground: Late module without Heir");
  perform({step(R"({"unregisterInterceptor": "Watcher"})"), step(R"({"setNotificationDelegate": "Proxy"})"), late});
  EXPECT_EQ(lineOf("token:"), "token: module");
  EXPECT_EQ(compactJSON(state("interceptors")), "[]");
  EXPECT_EQ(lineOf("foreground:"), "foreground: Late module without Base");
}

TEST_F(LabPhones, SendDocumentsOfTheProtocol) {
  test::Protocol protocol;
  open(shop);
  for (const auto& [id, kind, data] : perform({openIt, deliver(salePayload), tap, action(R"({"do": "wait"})")})) {
    protocol.expectFits(kind == "refused" ? "failure" : kind, data);
  }
}

TEST_F(LabPhones, RefuseWhatCannotBeDone) {
  open(shop);
  const std::pair<std::string, const char*> cases[] = {
      {R"({"do": "step", "step": {"lunch": {}}})", "there is no step \"lunch\"; did you mean \"launch\"?"},
      {R"({"do": "step", "step": "activate"})", "needs a running application"},
      {R"({"do": "deliver", "payload": "{"})", "the payload:1:2"},
      {R"({"do": "deliver", "payload": "[]"})", "it is no JSON object"},
      {R"({"do": "deliver", "payload": "{\"aps\": {\"alert\": \"x\"}, \"y\": \")" + std::string(4096, 'y') + R"(\"}"})",
       "has 4124 bytes"},
      {R"({"do": "deliver", "payload": "{}"})", "neither show this notification nor wake"},
      {R"({"do": "step", "step": {"deliver": {"payload": "/etc/passwd"}}})", "names the file /etc/passwd"},
      {R"({"do": "extension", "payload": "{\"aps\": {}}"})", "has no pellionPnID"},
      {R"({"do": "respond", "notification": "other", "with": "tap"})",
       "no notification of the session is called \"other\""}};
  for (const auto& [text, error] : cases) {
    perform({action(text)});
    EXPECT_THAT(refused_, HasSubstr(error));
  }
  perform({action(R"({"do": "deliver", "payload": ")" + std::string(10'000, '[') + R"("})")});
  EXPECT_THAT(refused_, HasSubstr("64 levels"));
  EXPECT_FALSE(phone_->scenario()) << "none of this is a step";
  for (const char* none :
       {R"({"do": "fly"})", R"({"do": "deliver"})", R"({"do": 1})", R"([])", R"({"do": "open", "x": 1})"}) {
    EXPECT_THROW(phone_->perform(action(none)), InputError) << none;
  }
}

TEST_F(LabPhones, RefuseUnusableScenarios) {
  const std::pair<const char*, const char*> cases[] = {
      {"{", "scenario:1:2"},
      {"{}", "steps"},
      {R"({"steps": ["lunch"]})", "did you mean \"launch\""},
      {R"({"notifications": {"n": {"payload": "/etc/passwd"}}, "steps": []})", "names the file /etc/passwd"},
      {R"({"configuration": {"PORTAL_ID": 7}, "steps": []})", "PORTAL_ID"}};
  for (const auto& [text, error] : cases) {
    try {
      open(text);
      ADD_FAILURE() << text;
    } catch (const InputError& thrown) {
      EXPECT_THAT(thrown.what(), HasSubstr(error)) << text;
    }
  }
}

TEST_F(LabPhones, NeverShowSecrets) {
  open(std::string(R"({"configuration": {)") + configuration +
       R"(}, "steps": ["launch", {"configure": {"JWT_SECRET": "later-secret"}}]})");
  for (const auto& message :
       perform({action(R"({"do": "next"})"), deliver(salePayload),
                action(R"({"do": "step", "step": {"configure": {"BEARER_TOKEN": "other-secret"}}})"),
                deliver(salePayload)})) {
    EXPECT_THAT(message.data, Not(AnyOf(HasSubstr("secret-bearer"), HasSubstr("secret-key"), HasSubstr("other-secret"),
                                        HasSubstr("later-secret"))));
  }
}

// The test's time limit shows that none of these waits for the answer.
TEST_F(LabPhones, EndWhileAServerIsSlow) {
  const auto silent = boundToLoopback(0);
  ASSERT_EQ(listen(silent->get(), 1), 0);
  const std::string url = "http://127.0.0.1:" + std::to_string(localPort(silent->get()));
  open(std::string(R"({"configuration": {"SERVER_URL": ")") + url + "\"," + configuration + R"(}, "steps": []})");
  perform({openIt});  // tries each callback, without that server
  for (const auto& server : {std::optional<std::string>(), std::optional(url)}) {
    phone_.emplace(network_, shop, server);
    if (!server) phone_->perform(action(R"({"do": "step", "step": {"backend": {"delay": 60000}}})"));
    phone_->perform(action(R"({"do": "relaunch"})"));
    phone_->perform(action(R"({"do": "step", "step": {"token": "0aff"}})"));
    std::uint64_t last = 0;
    for (bool isWaiting = false; !isWaiting;) {
      const auto news = phone_->messages().after(last, 1000, std::chrono::seconds(60)).value();
      for (const auto& message : news) {
        last = message.id;
        isWaiting |= message.data.find(R"("actor":"network","what":"sends")") != std::string::npos;
      }
    }
    for (std::size_t i = 0; i < LabPhone::mostWaitingActions; ++i) phone_->perform(openIt);
    EXPECT_THROW(phone_->perform(openIt), InputError);
    phone_.reset();
  }
}

TEST_F(LabPhones, RefuseBackendStepsWithAServer) {
  const auto server = boundToLoopback(0);
  ASSERT_EQ(listen(server->get(), 1), 0);
  phone_.emplace(network_, shop, "http://127.0.0.1:" + std::to_string(localPort(server->get())));
  perform({action(R"({"do": "step", "step": "backend"})")});
  EXPECT_THAT(refused_, HasSubstr("your own server answers this phone"));
  perform({openIt});
  EXPECT_THAT(*phone_->scenario(), HasSubstr("// Run it: pellion test --server http://127.0.0.1:"));
}

}  // namespace
}  // namespace pellion

// The request envelope as the server sees it, and what the manager makes of the answer.

#include <gmock/gmock.h>

#include <limits>

#include "network/PLTokenManager.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using platform::Value;
using test::ScriptedServer;

constexpr const char* accepted = R"({"status":"ok"})";
const Value payload = Value::dictionary({{"meta", "m"}, {"pnstats", Value::list({1, 2})}});

struct Outcome {
  std::vector<bool> completions;  // one at most
  std::vector<test::RecordedRequest> requests;
  std::vector<std::string> log;
};

/// A core library that fails where the reference never does.
class FailingCoreLibrary : public host::ReferenceCoreLibrary {
 public:
  using ReferenceCoreLibrary::ReferenceCoreLibrary;
  bool answers = true;
  bool hasAppVersion = true;
  bool compresses = true;

  void newRegisterDevice(std::function<void(platform::OptionalString)> block) override {
    if (answers) ReferenceCoreLibrary::newRegisterDevice(std::move(block));
  }
  platform::OptionalString appversionid() override {
    return hasAppVersion ? ReferenceCoreLibrary::appversionid() : std::nullopt;
  }
  std::optional<Value> gzip(const Value& data, float level) override {
    EXPECT_EQ(level, 1.0F);
    return compresses ? ReferenceCoreLibrary::gzip(data, level) : std::nullopt;
  }
};

class Request : public Test {
 protected:
  FailingCoreLibrary& useFailingCoreLibrary(const Value& configuration) {
    auto library = std::make_shared<FailingCoreLibrary>(
        *phone_->process(), phone_->configurationPath().parent_path(), phone_->keychain(),
        host::configurationFrom(configuration, phone_->configurationPath()));
    phone_->process()->setCoreLibrary(library);
    return *library;
  }

  Outcome send(std::optional<std::string> parameter = std::nullopt,
               std::optional<PLTokenManager::Headers> headers = std::nullopt,
               std::optional<Value> body = std::nullopt) {
    Outcome outcome;
    phone_.run([&] {
      PLTokenManager::sharedInstance().makeRequest("a/b", parameter, headers, body,
                                                   [&](bool success) { outcome.completions.push_back(success); });
    });
    outcome.requests = server_.takeRequests();
    outcome.log = phone_.takeLog();
    return outcome;
  }

  ScriptedServer server_{200, accepted};
  test::TestPhone phone_{test::configuration(server_.url())};
};

struct EnvelopeCase {
  std::string name;
  std::vector<Value::Entry> configuration = {};
  std::optional<std::string> parameter = {};
  std::optional<PLTokenManager::Headers> headers = {};
  std::optional<Value> payload = {};
  std::string query = "deviceid=D&appversionid=A&frameworkid=F";
  // All that the manager sets, in wire order.
  std::vector<std::string> fields = {"Content-Type: text/plain", "mapid: map", "apid: ap",
                                     "Authorization: Bearer bearer", "Content-Length: 0"};
};

const std::vector<EnvelopeCase> envelopeCases{
    {.name = "plain"},
    {.name = "parameter comes last",
     .parameter = "status=register",
     .query = "deviceid=D&appversionid=A&frameworkid=F&status=register"},
    {.name = "payload",
     .payload = payload,
     .fields = {"Content-Type: text/plain", "mapid: map", "apid: ap", "Authorization: Bearer bearer",
                "Content-Length: 119"}},
    {.name = "gzip without a body",
     .configuration = {{"GZIP", true}},
     .fields = {"Content-Encoding: gzip", "mapid: map", "apid: ap", "Authorization: Bearer bearer",
                "Content-Length: 0"}},
    {.name = "anonymous user without anonymous tracking", .configuration = {{"ANONYMOUS_USER", true}}},
    {.name = "anonymous tracking of an identified user", .configuration = {{"ANONYMOUS_TRACKING", true}}},
    {.name = "anonymous",
     .configuration = {{"ANONYMOUS_USER", true}, {"ANONYMOUS_TRACKING", true}},
     .query = "anondeviceid=ANON&appversionid=A&frameworkid=F"},
    {.name = "missing values",
     .configuration = {{"FRAMEWORK_ID", nullptr}, {"DEVICE_ID", nullptr}, {"MAP_ID", nullptr}, {"AP_ID", nullptr}},
     .query = "deviceid=(null)&appversionid=A&frameworkid=",
     .fields = {"Content-Type: text/plain", "mapid:", "apid:", "Authorization: Bearer bearer", "Content-Length: 0"}},
    {.name = "own headers replace the fixed ones but never the bearer token",
     .headers = PLTokenManager::Headers{{"mapid", "mine"}, {"X-Own", "1"}, {"authorization", "mine"}},
     .fields = {"Content-Type: text/plain", "mapid: mine", "apid: ap", "X-Own: 1", "authorization: Bearer bearer",
                "Content-Length: 0"}},
};

// What the platform adds to every request by itself; everything else on the wire is the manager's.
bool isOfThePlatform(const std::string& field) {
  constexpr std::string_view names[] = {
      "Host:", "Accept:", "Accept-Encoding:", "Accept-Language:", "User-Agent:", "Connection:"};
  return std::ranges::any_of(names, [&](std::string_view name) { return field.starts_with(name); });
}

TEST_F(Request, carriesTheEnvelopeInEveryCombination) {
  for (const EnvelopeCase& row : envelopeCases) {
    SCOPED_TRACE(row.name);
    phone_->configure(test::configuration(server_.url(), row.configuration));
    const Outcome outcome = send(row.parameter, row.headers, row.payload);
    ASSERT_THAT(outcome.requests, SizeIs(1));
    EXPECT_EQ(outcome.requests[0].line, "POST /sdk/v1/a/b?" + row.query + " HTTP/1.1");
    std::vector<std::string> fields = outcome.requests[0].fields;
    std::erase_if(fields, isOfThePlatform);
    EXPECT_EQ(fields, row.fields);
    EXPECT_THAT(outcome.completions, ElementsAre(true));
  }
}

const std::string gzippedPayload = "eyJhbGciOiJIUzI1NiIsImN0eSI6ImFwcGxpY2F0aW9uL2d6aXAifQ.H4sI";
const std::string plainPayload = "eyJhbGciOiJIUzI1NiIsInR5cCI6IkpXVCJ9.eyJtZXRhIjoibSIsInBuc3RhdHMiOlsxLDJdfQ.";

TEST_F(Request, encodesTheBodyFromTheDictionaryOrFromItsCompressedJSON) {
  EXPECT_THAT(send({}, {}, payload).requests.at(0).body, StartsWith(plainPayload));
  const Value gzipOn = test::configuration(server_.url(), {{"GZIP", true}});
  phone_->configure(gzipOn);
  EXPECT_THAT(send({}, {}, payload).requests.at(0).body, StartsWith(gzippedPayload));

  useFailingCoreLibrary(gzipOn).compresses = false;
  const Outcome failed = send({}, {}, payload);
  EXPECT_THAT(failed.log, Contains("Compression failed"));
  EXPECT_THAT(failed.requests.at(0).body, StartsWith(plainPayload));
  EXPECT_EQ(failed.requests.at(0).header("Content-Encoding"), "gzip") << "kept although nothing was compressed";
}

TEST_F(Request, goesOutWithoutABodyWhenJSONCannotHoldThePayload) {
  const Outcome outcome = send({}, {}, Value::dictionary({{"x", std::numeric_limits<double>::quiet_NaN()}}));
  ASSERT_THAT(outcome.requests, SizeIs(1));
  EXPECT_EQ(outcome.requests[0].body, "");
  EXPECT_THAT(outcome.log, Contains(MatchesRegex("<PLTokenManager: 0x[0-9a-f]+> exception encoding notification data: "
                                                 "Invalid number value .NaN. in JSON write")));
  EXPECT_THAT(outcome.completions, ElementsAre(true));
}

TEST_F(Request, takesTheConfiguredServerAsItStandsAndElseFormsTheDefaultHost) {
  const auto url = [&](Value server) {
    phone_->configure(test::configuration("", {{"SERVER_URL", std::move(server)}, {"DOMAIN", "example.test"}}));
    std::string text;
    phone_.run([&] { text = PLTokenManager::sharedInstance().serverUrl(); });
    return text;
  };
  EXPECT_EQ(url("http://127.0.0.1/x/"), "http://127.0.0.1/x/");
  EXPECT_EQ(url(""), "https://push.example.test");
  EXPECT_EQ(url(nullptr), "https://push.example.test");
}

TEST_F(Request, reportsFalseWithoutRequestOrLogWhenThereIsNoBearerToken) {
  phone_->configure(test::configuration(server_.url(), {{"BEARER_TOKEN", nullptr}}));
  const Outcome outcome = send();
  EXPECT_THAT(outcome.completions, ElementsAre(false));
  EXPECT_THAT(outcome.requests, IsEmpty());
  EXPECT_THAT(outcome.log, IsEmpty());
}

TEST_F(Request, neverCompletesWhenTheCoreLibraryNeverAnswers) {
  useFailingCoreLibrary(test::configuration(server_.url())).answers = false;
  const Outcome outcome = send();
  EXPECT_THAT(outcome.completions, IsEmpty());
  EXPECT_THAT(outcome.requests, IsEmpty());
}

TEST_F(Request, sendsAnEmptyApplicationVersionWhenItIsMissing) {
  useFailingCoreLibrary(test::configuration(server_.url())).hasAppVersion = false;
  EXPECT_THAT(send().requests.at(0).line, HasSubstr("?deviceid=D&appversionid=&frameworkid=F "));
}

TEST_F(Request, isAcceptedOnlyByStatus200WithJSON) {
  const struct {
    int status;
    std::string body;
    bool isAccepted;
    bool isRejectedJSON;  // handed to the core library
  } cases[] = {
      {200, accepted, true, false}, {200, "[]", true, false},     {200, "", false, false},   {200, "7", false, false},
      {201, accepted, false, true}, {500, accepted, false, true}, {401, "no", false, false},
  };
  for (const bool anonymous : {false, true}) {
    phone_->configure(
        test::configuration(server_.url(), {{"ANONYMOUS_USER", anonymous}, {"ANONYMOUS_TRACKING", anonymous}}));
    for (const auto& row : cases) {
      SCOPED_TRACE(std::to_string(row.status) + " " + row.body);
      server_.answer(row.status, row.body);
      EXPECT_THAT(send().completions, ElementsAre(row.isAccepted));
      const auto rejected = phone_.take("rejected response");
      ASSERT_THAT(rejected, SizeIs(row.isRejectedJSON ? 1 : 0));
      for (const Value& details : rejected) {
        EXPECT_EQ(*details.find("identity"), Value(anonymous ? "anonymous user" : "device"));
      }
    }
  }
}

TEST_F(Request, logsEveryStepInOrder) {
  server_.answer(200, "caf\xC3\xA9");
  const std::string url = server_.url() + "/sdk/v1/a/b?deviceid=D&appversionid=A&frameworkid=F";
  EXPECT_THAT(send({}, {}, Value::dictionary({{"k", 1}})).log,
              ElementsAre("Request payload - {\n    k = 1;\n}", "Request made -> " + url,
                          "Http headers -> {\n    Authorization = \"Bearer bearer\";\n    \"Content-Length\" = 91;\n"
                          "    \"Content-Type\" = \"text/plain\";\n    apid = ap;\n    mapid = map;\n}",
                          "Response received -> " + url, "Data received-> (null)"));
}

TEST_F(Request, failsAsAnUnsupportedURLWhenNoneCanBeMade) {
  phone_->configure(test::configuration("http://127.0.0.1:port"));
  const Outcome outcome = send();
  EXPECT_THAT(outcome.completions, ElementsAre(false));
  EXPECT_THAT(outcome.log,
              ElementsAre("Request made -> (null)", StartsWith("Http headers -> "), "Response received -> (null)",
                          StartsWith("response error -> Error Domain=NSURLErrorDomain Code=-1002")));
}

}  // namespace

// The request envelope as the module hands it to the platform, and the manager's handling of the response. The
// scenarios show the bytes on the wire.

#include <gmock/gmock.h>

#include <limits>

#include "network/PLTokenManager.h"
#include "tests/support/recording_phone.h"

namespace {

using namespace testing;
using platform::Value;
using test::RecordingCoreLibrary;

const std::string block =
    "pellion-log -[PLTokenManager makeRequest:withParameter:headers:payload:completion:]_block_invoke_";
const Value payload = Value::dictionary({{"meta", "m"}, {"pnstats", Value::list({1, 2})}});
const Value unserialisable = Value::dictionary({{"x", std::numeric_limits<double>::quiet_NaN()}});

class Request : public Test {
 protected:
  /// The request that was sent, if one was.
  std::optional<test::SentRequest> send(std::optional<std::string> parameter = std::nullopt,
                                        std::optional<PLTokenManager::Headers> headers = std::nullopt,
                                        std::optional<Value> body = std::nullopt) {
    phone_.run([&] {
      PLTokenManager::sharedInstance().makeRequest("a/b", parameter, headers, body, [this](bool success) {
        phone_->process()->report("test", "asked", Value::dictionary({{"text", success ? "accepted" : "failed"}}));
      });
    });
    const std::vector<test::SentRequest> requests = phone_.takeRequests();
    return requests.empty() ? std::nullopt : std::optional(requests.at(0));
  }
  /// The trace of one response, from the session's handler, in which the manager continues.
  std::vector<std::string> traceOf(const std::function<void()>& answer) {
    phone_.takeTrace();
    const host::ProcessScope scope(*phone_->process());
    answer();
    return phone_.takeTrace();
  }

  test::RecordingPhone phone_{test::configuration("http://a.test")};
};

struct EnvelopeCase {
  std::string name;
  std::vector<Value::Entry> configuration = {};
  void (*spoil)(RecordingCoreLibrary&) = [](RecordingCoreLibrary&) {};
  std::optional<std::string> parameter = {};
  std::optional<PLTokenManager::Headers> headers = {};
  std::optional<Value> payload = {};
  std::string query = "deviceid=D&appversionid=A&frameworkid=F";
  std::string fields = "Content-Type: text/plain, mapid: map, apid: ap, Authorization: Bearer bearer";
  std::optional<std::string> body = {};
};

const std::string plain = EnvelopeCase{}.fields;
const std::string gzipped = "Content-Encoding: gzip, mapid: map, apid: ap, Authorization: Bearer bearer";

const std::vector<EnvelopeCase> envelopeCases{
    {.name = "plain"},
    {.name = "parameter comes last",
     .parameter = "status=register",
     .query = "deviceid=D&appversionid=A&frameworkid=F&status=register"},
    {.name = "payload", .payload = payload, .fields = plain + ", Content-Length: 10", .body = "dictionary"},
    {.name = "nothing encoded",
     .spoil = [](RecordingCoreLibrary& library) { library.encodes = false; },
     .payload = payload,
     .fields = plain + ", Content-Length: 0"},
    {.name = "a payload that JSON cannot hold", .payload = unserialisable},
    {.name = "gzip",
     .configuration = {{"GZIP", true}},
     .payload = payload,
     .fields = gzipped + ", Content-Length: 36",
     .body = R"(data: 1 {"meta":"m","pnstats":[1,2]})"},
    {.name = "Kept: gzip without a body", .configuration = {{"GZIP", true}}, .fields = gzipped},
    {.name = "Kept: gzip that failed",
     .configuration = {{"GZIP", true}},
     .spoil = [](RecordingCoreLibrary& library) { library.compresses = false; },
     .payload = payload,
     .fields = gzipped + ", Content-Length: 10",
     .body = "dictionary"},
    {.name = "anonymous user without anonymous tracking", .configuration = {{"ANONYMOUS_USER", true}}},
    {.name = "anonymous tracking of an identified user", .configuration = {{"ANONYMOUS_TRACKING", true}}},
    {.name = "anonymous, with the anonymous manager's token",
     .configuration = {{"ANONYMOUS_USER", true}, {"ANONYMOUS_TRACKING", true}},
     .query = "anondeviceid=ANON&appversionid=A&frameworkid=F",
     .fields = "Content-Type: text/plain, mapid: map, apid: ap, Authorization: Bearer anonymous bearer"},
    {.name = "missing values",
     .configuration = {{"APP_VERSION_ID", nullptr},
                       {"FRAMEWORK_ID", nullptr},
                       {"DEVICE_ID", nullptr},
                       {"MAP_ID", nullptr},
                       {"AP_ID", nullptr}},
     .query = "deviceid=(null)&appversionid=&frameworkid=",
     .fields = "Content-Type: text/plain, mapid: , apid: , Authorization: Bearer bearer"},
    {.name = "own headers replace the fixed ones but never the bearer token",
     .headers = PLTokenManager::Headers{{"mapid", "mine"}, {"X-Own", "1"}, {"authorization", "mine"}},
     .fields = "Content-Type: text/plain, mapid: mine, apid: ap, X-Own: 1, authorization: Bearer bearer"},
};

TEST_F(Request, carriesTheEnvelopeInEveryCombination) {
  for (const EnvelopeCase& row : envelopeCases) {
    SCOPED_TRACE(row.name);
    phone_.configure(test::configuration("http://a.test", row.configuration));
    row.spoil(phone_.coreLibrary());
    const auto sent = send(row.parameter, row.headers, row.payload);
    ASSERT_TRUE(sent);
    const platform::URLRequest& request = sent->request;
    EXPECT_EQ(request.url->absoluteString(), "http://a.test/sdk/v1/a/b?" + row.query);
    std::string fields;
    for (const auto& [name, value] : request.headers.fields())
      fields += (fields.empty() ? "" : ", ") + name + ": " + value;
    EXPECT_EQ(fields, row.fields);
    EXPECT_EQ(request.httpBody ? std::optional(test::textOf(*request.httpBody)) : std::nullopt, row.body);
    EXPECT_EQ(request.httpMethod, "POST");
    EXPECT_FALSE(request.httpShouldHandleCookies);
    EXPECT_EQ(sent->priority, platform::URLSessionTaskPriorityLow);
    EXPECT_THAT(phone_.takeTrace(), AllOf(Contains("session").Times(1), Contains("accepted").Times(1)));
  }
}

TEST_F(Request, readsAndLogsInThisOrder) {
  phone_.configure(
      test::configuration("http://a.test", {{"ANONYMOUS_USER", true}, {"ANONYMOUS_TRACKING", true}, {"GZIP", true}}));
  phone_.server = [](auto) {};
  const auto sent = send({}, {}, payload);
  const std::string url = "http://a.test/sdk/v1/a/b?anondeviceid=ANON&appversionid=A&frameworkid=F";
  EXPECT_THAT(
      phone_.takeTrace(),
      ElementsAre("newRegisterDevice", "device manager", "isAnonymousUser", "enableAnonymousTracking",
                  "anonymous manager", "anonid", "token", "appversionid", "frameworkid", "getQvInfoFilePath",
                  "getMainBundle", "enableGzip", "mapid", "apid",
                  block + "2: Request payload - {\n    meta = m;\n    pnstats =     (\n        1,\n        2\n    "
                          ");\n}",
                  "enableGzip", "gzip", "JWT encoder", "encodeDataWithJWT", "session",
                  block + "2: Request made -> " + url,
                  block + "2: Http headers -> {\n    Authorization = \"Bearer anonymous bearer\";\n    "
                          "\"Content-Encoding\" = gzip;\n    \"Content-Length\" = 36;\n    apid = ap;\n    "
                          "mapid = map;\n}"));
  EXPECT_THAT(traceOf([&] { answer(*sent, 500, R"({"no":1})"); }),
              ElementsAre(block + "3: Response received -> " + url, block + R"(3: Data received-> {"no":1})",
                          R"(processError {"no":1} anonymous)", "failed"));
}

TEST_F(Request, logsErrorsAndContinues) {
  const auto error = [&] { return phone_.takeLines().at(1); };
  send({}, {}, unserialisable);
  EXPECT_THAT(error(), StartsWith(block + "2: <PLTokenManager: 0x"));
  send({}, {}, unserialisable);
  EXPECT_THAT(error(), EndsWith("> exception encoding notification data: Invalid number value (NaN) in JSON write"));
  phone_.configure(test::configuration("http://a.test", {{"GZIP", true}}));
  phone_.coreLibrary().compresses = false;
  send({}, {}, payload);
  EXPECT_EQ(error(), block + "2: Compression failed");
}

TEST_F(Request, isAcceptedOnlyByStatus200WithJSON) {
  const struct {
    int status;
    std::string body;
    std::vector<std::string> outcome;
    std::string text = body;
  } cases[] = {
      {200, R"({"a":1})", {"accepted"}},
      {200, "[]", {"accepted"}},
      {200, "", {"failed"}},
      {200, "7", {"failed"}},
      {201, "[2]", {"processError [2] device", "failed"}},
      {401, "no", {"failed"}},
      {200, "caf\xC3\xA9", {"failed"}, "(null)"},
  };
  phone_.server = [](auto) {};
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.status) + " " + row.body);
    const auto sent = send();
    std::vector<std::string> trace = traceOf([&] { answer(*sent, row.status, row.body); });
    EXPECT_EQ(trace.at(1), block + "3: Data received-> " + row.text);
    EXPECT_EQ(std::vector(trace.begin() + 2, trace.end()), row.outcome);
  }
  const auto sent = send();
  const platform::HTTPURLResponse response{*sent->request.url, 200, {}};
  const platform::Error broken{"D", 1, "broken", {}};
  const Value body = Value::bytes("{}");
  EXPECT_THAT(traceOf([&] { sent->handler(&body, &response, &broken); }),
              ElementsAre(block + "3: Response received -> " + sent->request.url->absoluteString(),
                          StartsWith(block + "3: response error -> Error Domain=D Code=1 \"broken\""), "failed"));
}

TEST_F(Request, isSentWithoutAURLWhenNoneCanBeMade) {
  phone_.configure(test::configuration("http://a.test", {{"SERVER_URL", "http://[a"}}));
  phone_.server = [](auto) {};
  const auto sent = send();
  EXPECT_FALSE(sent->request.url);
  EXPECT_THAT(phone_.takeLines(), Contains(block + "2: Request made -> (null)"));
  const platform::Error unsupported{"D", -1002, "unsupported URL", {}};
  EXPECT_THAT(traceOf([&] { sent->handler(nullptr, nullptr, &unsupported); }),
              ElementsAre(block + "3: Response received -> (null)", HasSubstr("Code=-1002"), "failed"));
}

TEST_F(Request, usesTheConfiguredServerUnchangedOrFormsTheDefaultHost) {
  const auto url = [&](Value server) {
    phone_.configure(test::configuration("", {{"SERVER_URL", std::move(server)}, {"DOMAIN", "example.test"}}));
    std::string text;
    phone_.run([&] { text = PLTokenManager::sharedInstance().serverUrl(); });
    return text;
  };
  EXPECT_EQ(url("http://127.0.0.1/x/"), "http://127.0.0.1/x/");
  EXPECT_EQ(url(""), "https://push.example.test");
  EXPECT_EQ(url(nullptr), "https://push.example.test");
}

TEST_F(Request, isNotMadeWithoutABearerTokenOrAResponseOfTheCoreLibrary) {
  phone_.configure(test::configuration("http://a.test", {{"BEARER_TOKEN", nullptr}}));
  EXPECT_FALSE(send());
  EXPECT_THAT(phone_.takeTrace(),
              ElementsAre("newRegisterDevice", "device manager", "isAnonymousUser", "token", "failed"));
  phone_.coreLibrary().answers = false;
  EXPECT_FALSE(send());
  EXPECT_THAT(phone_.takeTrace(), ElementsAre("newRegisterDevice"));
}

}  // namespace

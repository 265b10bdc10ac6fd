// What PLTokenManager does with a token besides what the scenarios show: device_token, token_changes,
// refused_then_accepted and connection_dropped in examples/scenarios.

#include <gmock/gmock.h>

#include <thread>

#include "network/PLTokenManager.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using platform::Value;
using test::ScriptedServer;

constexpr const char* tokenKey = "com.tovrin.pellion.apnstoken";
constexpr const char* accepted = R"({"status":"ok"})";

const Value firstToken = Value::bytes(std::string_view("\x0A\xFF\x00", 3));
const Value secondToken = Value::bytes(std::string_view("\x01\x02", 2));

class Registration : public Test {
 protected:
  void handOver(const Value& token) {
    phone_.run([&] { PLTokenManager::sharedInstance().setAPNSToken(&token); });
  }
  std::optional<Value> stored() { return phone_->keychain().data(tokenKey); }

  ScriptedServer server_{200, accepted};
  test::TestPhone phone_{test::configuration(server_.url())};
};

TEST_F(Registration, sendsNothingWithoutAToken) {
  const auto handOverNull = [&] { phone_.run([] { PLTokenManager::sharedInstance().setAPNSToken(nullptr); }); };
  handOverNull();
  phone_.run([&] { phone_->announceTrackingStatus(); });
  EXPECT_THAT(server_.takeRequests(), IsEmpty()) << "nothing is stored yet";
  handOver(firstToken);
  handOverNull();
  EXPECT_THAT(server_.takeRequests(), SizeIs(1));
  EXPECT_EQ(stored(), firstToken);
}

TEST_F(Registration, KeptAMissingPortalPrintsAsNullWhereStatisticsLeaveItOut) {
  phone_->configure(test::configuration(server_.url(), {{"PORTAL_ID", nullptr}, {"APP_META", Value::dictionary({})}}));
  handOver(firstToken);
  phone_.run([] { PLTokenManager::sharedInstance().sendStatsToServer(Value::list({}), [](bool) {}); });
  const auto requests = server_.takeRequests();
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_THAT(requests[0].line, StartsWith("POST /sdk/v1/(null)/project/pushnotification/device?"));
  EXPECT_THAT(requests[1].line, StartsWith("POST /sdk/v1//project/channel/add?"));
}

TEST_F(Registration, KeptOnlyAWordIsLoggedWhenTheApplicationVersionIsNotAvailable) {
  phone_->configure(test::configuration(server_.url(), {{"APP_VERSION_ID", nullptr}}));
  handOver(firstToken);
  phone_.run([] { PLTokenManager::sharedInstance().sendStatsToServer(Value::list({}), [](bool) { ADD_FAILURE(); }); });
  const auto lines = phone_.take("log");
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(*lines[0].find("text"), Value("error"));
  EXPECT_EQ(*lines[1].find("text"), Value("erorr"));
  EXPECT_EQ(*lines[0].find("function"), Value("-[PLTokenManager sendTokenToServer:completion:]_block_invoke_2"));
  EXPECT_EQ(*lines[0].find("tag"), Value("pellion-log"));
  EXPECT_EQ(*lines[0].find("marker"), Value("\u200B\u200B\u200B\U0001F916\u200B"));
  EXPECT_THAT(server_.takeRequests(), IsEmpty());
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(Registration, makesOneManagerAndOneObserverHoweverManyThreadsAskFirst) {
  host::Process& process = *phone_->process();
  std::vector<std::thread> threads;
  for (const Value* token : {&firstToken, &secondToken, &firstToken, &secondToken}) {
    threads.emplace_back([&process, token] {
      const host::ProcessScope scope(process);
      PLTokenManager::sharedInstance().registerAPNSToken(token);
    });
  }
  for (std::thread& thread : threads) thread.join();
  process.mainQueue().runUntilIdle();
  EXPECT_THAT(server_.takeRequests(), SizeIs(4));
  EXPECT_TRUE(stored() == firstToken || stored() == secondToken);
  phone_.run([&] { phone_->announceTrackingStatus(); });
  EXPECT_THAT(server_.takeRequests(), SizeIs(1));
}

TEST(SecureRegistration, isAcceptedOnlyFromAServerThatTheConfiguredAuthorityProves) {
  const test::CertificateAuthority trusted;
  const test::CertificateAuthority other("Other Authority");
  const test::TemporaryDirectory directory;
  trusted.writePEM(directory.path() / "ca.pem");
  for (const auto* authority : {&trusted, &other}) {
    const test::LoopbackServer server(
        [](const auto&) -> test::LoopbackServer::Reply { return {test::LoopbackServer::answer("200 OK", accepted)}; },
        authority->issue());
    test::TestPhone phone(test::configuration(server.url(""), {{"CA_FILE", (directory.path() / "ca.pem").string()}}));
    phone.run([&] { PLTokenManager::sharedInstance().setAPNSToken(&firstToken); });
    EXPECT_EQ(phone->keychain().data(tokenKey).has_value(), authority == &trusted);
  }
}

TEST(RegistrationsInFlight, leaveTheTokenThatWasAcceptedLast) {
  test::TestPhone phone(test::configuration("http://127.0.0.1:1"));
  const test::LoopbackServer server([&](const test::LoopbackServer::Request& request) -> test::LoopbackServer::Reply {
    const bool isFirst = request.head.find("notificationid: 0aff00") != std::string::npos;
    while (isFirst && phone->keychain().data(tokenKey) != secondToken) std::this_thread::yield();
    return {test::LoopbackServer::answer("200 OK", accepted)};
  });
  phone->configure(test::configuration(server.url("")));
  phone.run([&] {
    PLTokenManager::sharedInstance().setAPNSToken(&firstToken);
    PLTokenManager::sharedInstance().setAPNSToken(&secondToken);
  });
  EXPECT_EQ(phone->keychain().data(tokenKey), firstToken) << "handed over first, accepted last";
}

}  // namespace

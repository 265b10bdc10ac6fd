// What PLTokenManager does with a token: when the backend hears of it, and what the keychain holds afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <thread>
#include <tuple>

#include "network/PLTokenManager.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_phone.h"

namespace {

using platform::Value;
using test::ScriptedServer;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* tokenKey = "com.tovrin.pellion.apnstoken";
constexpr const char* accepted = R"({"status":"ok"})";

const Value firstToken = Value::bytes(std::string_view("\x0A\xFF\x00", 3));
const Value secondToken = Value::bytes(std::string_view("\x01\x02", 2));

class Registration : public testing::Test {
 protected:
  void handOver(const Value& token) {
    phone_.run([&] { PLTokenManager::sharedInstance().setAPNSToken(&token); });
  }
  std::optional<Value> stored() { return phone_->keychain().data(tokenKey); }

  ScriptedServer server_{200, accepted};
  test::TestPhone phone_{test::configuration(server_.url())};
};

TEST_F(Registration, sendsAFirstTokenWithoutABodyAndKeepsItOnceItIsAccepted) {
  handOver(firstToken);
  const auto requests = server_.takeRequests();
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_THAT(requests[0].line,
              "POST /sdk/v1/portal/project/pushnotification/device"
              "?deviceid=D&appversionid=A&frameworkid=F&status=register HTTP/1.1");
  EXPECT_EQ(requests[0].header("notificationid"), "0aff00");
  EXPECT_EQ(requests[0].body, "");
  EXPECT_EQ(stored(), firstToken);
}

TEST_F(Registration, sendsNothingForTheStoredTokenAlsoAfterARelaunch) {
  handOver(firstToken);
  handOver(Value::bytes(firstToken.bytes()));
  phone_->launch();
  handOver(firstToken);
  EXPECT_THAT(server_.takeRequests(), SizeIs(1));
}

TEST_F(Registration, replacesTheStoredTokenOnlyOnceTheNewOneIsAccepted) {
  handOver(firstToken);
  for (const auto& [status, body] : {std::pair{500, accepted}, {200, "no JSON"}, {200, ""}}) {
    server_.answer(status, body);
    handOver(secondToken);
    EXPECT_EQ(stored(), firstToken) << status << body;
  }
  server_.answer(200, accepted);
  handOver(secondToken);
  EXPECT_EQ(stored(), secondToken);
  EXPECT_THAT(server_.takeRequests(), SizeIs(5));
}

TEST_F(Registration, ignoresANullToken) {
  auto handOverNull = [&] { phone_.run([] { PLTokenManager::sharedInstance().setAPNSToken(nullptr); }); };
  handOverNull();
  handOver(firstToken);
  handOverNull();
  EXPECT_THAT(server_.takeRequests(), SizeIs(1));
  EXPECT_EQ(stored(), firstToken);
}

TEST_F(Registration, sendsTheStoredTokenAgainUnderTheIdentityNowInForceWhenTheTrackingStatusChanges) {
  phone_.run([] { PLTokenManager::sharedInstance(); });
  phone_.run([&] { phone_->announceTrackingStatus(); });
  EXPECT_THAT(server_.takeRequests(), IsEmpty()) << "nothing is stored yet";
  handOver(firstToken);
  phone_->configure(test::configuration(server_.url(), {{"ANONYMOUS_USER", true}, {"ANONYMOUS_TRACKING", true}}));
  phone_.run([&] { phone_->announceTrackingStatus(); });
  const auto requests = server_.takeRequests();
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_THAT(requests[1].line, HasSubstr("?anondeviceid=ANON&appversionid="));
  EXPECT_EQ(requests[1].header("notificationid"), "0aff00");
}

TEST_F(Registration, printsAMissingPortalAsNull) {
  phone_->configure(test::configuration(server_.url(), {{"PORTAL_ID", nullptr}}));
  handOver(firstToken);
  const auto requests = server_.takeRequests();
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_THAT(requests[0].line, StartsWith("POST /sdk/v1/(null)/project/pushnotification/device?"));
}

TEST_F(Registration, logsOnlyAWordWhenTheApplicationVersionIsNotAvailable) {
  phone_->configure(test::configuration(server_.url(), {{"APP_VERSION_ID", nullptr}}));
  handOver(firstToken);
  const auto lines = phone_.take("log");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(*lines[0].find("text"), Value("error"));
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

TEST(SecureRegistration, isAcceptedOnlyFromAServerThatProvesItself) {
  const test::CertificateAuthority trusted;
  const test::CertificateAuthority other("Other Authority");
  const test::TemporaryDirectory directory;
  trusted.writePEM(directory.path() / "ca.pem");
  const std::vector<std::tuple<const char*, test::Identity, bool>> cases{
      {"proven", trusted.issue("IP:127.0.0.1"), true},
      {"untrusted", other.issue("IP:127.0.0.1"), false},
      {"another host's", trusted.issue("DNS:other.test"), false},
      {"expired", trusted.issue("IP:127.0.0.1", -7200, -3600), false},
  };
  for (const auto& [name, identity, isAccepted] : cases) {
    const test::LoopbackServer server(
        [](const auto&) -> test::LoopbackServer::Reply { return {test::LoopbackServer::answer("200 OK", accepted)}; },
        identity);
    test::TestPhone phone(test::configuration(server.url(""), {{"CA_FILE", (directory.path() / "ca.pem").string()}}));
    std::vector<bool> completions;
    phone.run([&] {
      PLTokenManager::sharedInstance().sendTokenToServer(firstToken,
                                                         [&](bool success) { completions.push_back(success); });
    });
    EXPECT_THAT(completions, ElementsAre(isAccepted)) << name;
    EXPECT_THAT(server.requests(), SizeIs(isAccepted ? 1 : 0)) << name;
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

TEST(Formatting, writesTwoLowerCaseDigitsAByte) {
  test::TestPhone phone{test::configuration("http://127.0.0.1:1")};
  phone.run([] {
    const PLTokenManager& manager = PLTokenManager::sharedInstance();
    const Value empty = Value::bytes("");
    const Value long_ = Value::bytes(std::string(32, '\xA5'));
    EXPECT_EQ(manager.stringFromDeviceToken(&firstToken), "0aff00");
    EXPECT_EQ(manager.stringFromDeviceToken(&long_).size(), 64U);
    EXPECT_EQ(manager.stringFromDeviceToken(&empty), "");
    EXPECT_EQ(manager.stringFromDeviceToken(nullptr), "");
  });
}

void handOverAndDieBeforeStoring(const std::filesystem::path& storage) {
  ScriptedServer server(200, accepted);
  host::Network network;
  host::Phone phone(network, {.storage = storage,
                              .sink =
                                  [](const host::Event& event) {
                                    const Value* text = event.details.find("text");
                                    if (text != nullptr && text->text().starts_with("Data received")) raise(SIGKILL);
                                  },
                              .listensToLog = true});
  phone.configure(test::configuration(server.url()));
  const host::ProcessScope scope(phone.launch());
  PLTokenManager::sharedInstance().setAPNSToken(&secondToken);
  phone.process()->mainQueue().runUntilIdle();
}

TEST(KilledRegistration, leavesTheEarlierTokenAndTheNextLaunchRegistersAgain) {
  // The statement that dies runs in a program of its own, which finds the storage by this variable.
  constexpr const char* variable = "PELLION_TEST_STORAGE";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::optional<test::TemporaryDirectory> directory;
  if (getenv(variable) == nullptr) setenv(variable, directory.emplace().path().c_str(), 1);
  const std::filesystem::path storage = getenv(variable);
  host::ItemStore(storage / "keychain.sqlite", [](const std::string&) {}).setData(tokenKey, firstToken);
  EXPECT_EXIT(handOverAndDieBeforeStoring(storage), testing::KilledBySignal(SIGKILL), "");

  ScriptedServer server(200, accepted);
  test::TestPhone phone(test::configuration(server.url()), storage);
  EXPECT_EQ(phone->keychain().data(tokenKey), firstToken);
  phone.run([] { PLTokenManager::sharedInstance().setAPNSToken(&secondToken); });
  EXPECT_THAT(server.takeRequests(), SizeIs(1));
  EXPECT_EQ(phone->keychain().data(tokenKey), secondToken);
  unsetenv(variable);
}

}  // namespace

// PLTokenManager's handling of tokens beyond these scenarios: device_token, token_changes,
// refused_then_accepted and connection_dropped in examples/scenarios.

#include <gmock/gmock.h>

#include <thread>

#include "network/PLTokenManager.h"
#include "pellion/backend/backend.h"
#include "tests/support/loopback_server.h"
#include "tests/support/raised.h"
#include "tests/support/recording_phone.h"

namespace {

using namespace testing;
using platform::Value;
using test::json;

constexpr const char* tokenKey = "com.tovrin.pellion.apnstoken";

const Value firstToken = Value::bytes(std::string_view("\x0A\xFF\x00", 3));
const Value secondToken = Value::bytes(std::string_view("\x01\x02", 2));

class Registration : public Test {
 protected:
  void handOver(const Value* token) {
    phone_.run([&] { PLTokenManager::sharedInstance().setAPNSToken(token); });
  }
  void uploadStatistics() {
    phone_.run([] { PLTokenManager::sharedInstance().sendStatsToServer(json("[7]"), [](bool) { ADD_FAILURE(); }); });
  }
  /// The requests that leave the phone while the backend gives this status: path and identity, and the token.
  std::vector<std::string> requests(int status, const std::function<void()>& work) {
    phone_.server = test::answerLater(status);
    work();
    std::vector<std::string> texts;
    for (const auto& [request, priority, handler] : phone_.takeRequests()) {
      const std::string url = request.url->absoluteString();
      const std::string* token = request.headers.find("notificationid");
      texts.push_back(url.substr(url.find("/v1")) + (token != nullptr ? " " + *token : ""));
    }
    return texts;
  }
  std::vector<std::string> requests(int status, const Value* token) {
    return requests(status, [&] { handOver(token); });
  }
  std::optional<Value> stored() { return phone_->keychain().data(tokenKey); }

  test::RecordingPhone phone_{configuration({{"APP_META", json("{}")}})};
  static Value configuration(std::vector<Value::Entry> entries) {
    return test::configuration("http://a.test", std::move(entries));
  }
};

const std::string query = "appversionid=A&frameworkid=F";
const std::string registration = "/v1/portal/project/pushnotification/device?";

TEST_F(Registration, sendsATokenUntilItIsAcceptedAndAnotherOneAgain) {
  const std::string url = registration + "deviceid=D&" + query + "&status=register ";
  EXPECT_THAT(requests(500, &firstToken), ElementsAre(url + "0aff00"));
  EXPECT_EQ(stored(), std::nullopt);
  EXPECT_THAT(requests(200, &firstToken), ElementsAre(url + "0aff00"));
  EXPECT_EQ(stored(), firstToken);
  EXPECT_THAT(requests(200, &firstToken), IsEmpty());
  EXPECT_THAT(requests(201, &secondToken), ElementsAre(url + "0102"));
  EXPECT_EQ(stored(), firstToken);
}

TEST_F(Registration, sendsTheStoredTokenUnderTheIdentityNowInForce) {
  const auto announce = [&] { phone_.run([&] { phone_->announceTrackingStatus(); }); };
  phone_.run([] { PLTokenManager::sharedInstance(); });
  EXPECT_THAT(requests(200, announce), IsEmpty()) << "nothing is stored yet";
  EXPECT_THAT(requests(200, nullptr), IsEmpty());
  handOver(&firstToken);
  phone_.takeRequests();
  EXPECT_EQ(stored(), firstToken);
  phone_.configure(configuration({{"ANONYMOUS_USER", true}, {"ANONYMOUS_TRACKING", true}}));
  EXPECT_THAT(requests(500, announce),
              ElementsAre(registration + "anondeviceid=ANON&" + query + "&status=register 0aff00"));
  phone_.run([] { PLTokenManager::sharedInstance().registerAPNSToken(nullptr); });
  EXPECT_THAT(phone_.takeRequests(), IsEmpty());
}

TEST_F(Registration, formatsATokenAndRaisesForOtherValues) {
  phone_.run([] {
    const PLTokenManager& manager = PLTokenManager::sharedInstance();
    std::string bytes;
    std::string hexadecimal;
    for (int byte = 0; byte < 256; ++byte) {
      bytes += static_cast<char>(byte);
      hexadecimal += platform::format("%02x", {byte});
    }
    const Value all = Value::bytes(bytes);
    EXPECT_EQ(manager.stringFromDeviceToken(&all), hexadecimal);
    EXPECT_EQ(manager.stringFromDeviceToken(nullptr), "");
    const Value text = "text";
    EXPECT_THAT(test::raised([&] { static_cast<void>(manager.stringFromDeviceToken(&text)); }),
                HasSubstr("-[__NSCFString bytes]"));
  });
}

TEST_F(Registration, KeptMissingIdsPrintAsNullWhereStatisticsLeaveThemOut) {
  phone_.configure(configuration({{"PORTAL_ID", nullptr}, {"PROJECT_ID", nullptr}, {"APP_META", json(R"({"m":1})")}}));
  phone_.server = [](auto) {};
  handOver(&firstToken);
  uploadStatistics();
  const auto sent = phone_.takeRequests();
  const auto url = [&](std::size_t place) { return sent.at(place).request.url->absoluteString(); };
  EXPECT_EQ(url(0),
            "http://a.test/sdk/v1/(null)/(null)/pushnotification/device?deviceid=D&" + query + "&status=register");
  EXPECT_EQ(url(1), "http://a.test/sdk/v1///channel/add?deviceid=D&" + query);
  EXPECT_THAT(phone_.coreLibrary().payloads, ElementsAre(json(R"({"meta":{"m":1},"pnstats":[7]})")));
  EXPECT_THAT(phone_.takeTrace(), IsSupersetOf({"portalid", "projectid"}));
}

TEST_F(Registration, KeptOnlyAWordIsLoggedWithoutAnApplicationVersionAndNothingWithoutAMeta) {
  phone_.configure(configuration({{"APP_VERSION_ID", nullptr}, {"APP_META", json("{}")}}));
  handOver(&firstToken);
  uploadStatistics();
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre("pellion-log -[PLTokenManager sendTokenToServer:completion:]_block_invoke_2: error",
                          "pellion-log -[PLTokenManager sendStatsToServer:completion:]_block_invoke_2: erorr"));
  phone_.configure(configuration({}));
  uploadStatistics();
  EXPECT_THAT(phone_.takeTrace(), ElementsAre("portalid", "projectid"));
  EXPECT_THAT(phone_.takeRequests(), IsEmpty());
}

TEST_F(Registration, storesTheTokenThatWasAcceptedLast) {
  phone_.server = [](auto) {};
  handOver(&firstToken);
  handOver(&secondToken);
  const host::ProcessScope scope(*phone_->process());
  const auto sent = phone_.takeRequests();
  answer(sent.at(1));
  answer(sent.at(0));
  EXPECT_EQ(stored(), firstToken) << "sent first, accepted last";
}

TEST(RegistrationsAtOnce, makeOneManagerAndOneObserver) {
  pellion::Backend backend({});
  test::TestPhone phone(test::configuration(backend.url()));
  host::Process& process = *phone->process();
  std::vector<std::thread> threads;
  for (const Value* token : {&firstToken, &secondToken, &firstToken, &secondToken}) {
    threads.emplace_back([&process, token] {
      const host::ProcessScope scope(process);
      PLTokenManager::sharedInstance().registerAPNSToken(token);
    });
  }
  for (std::thread& thread : threads) thread.join();
  process.mainQueue().runUntilIdle();
  EXPECT_THAT(backend.takeRequests(), SizeIs(4));
  EXPECT_THAT(phone->keychain().data(tokenKey), AnyOf(firstToken, secondToken));
  phone.run([&] { phone->announceTrackingStatus(); });
  EXPECT_THAT(backend.takeRequests(), SizeIs(1));
}

TEST(SecureRegistration, isAcceptedOnlyFromAServerWithACertificateOfTheConfiguredAuthority) {
  const test::CertificateAuthority trusted;
  const test::CertificateAuthority other("Other Authority");
  const test::TemporaryDirectory directory;
  trusted.writePEM(directory.path() / "ca.pem");
  for (const auto* authority : {&trusted, &other}) {
    const test::LoopbackServer server(
        [](const auto&) -> test::LoopbackServer::Reply { return {test::LoopbackServer::answer("200 OK", "{}")}; },
        authority->issue());
    test::TestPhone phone(test::configuration(server.url(""), {{"CA_FILE", (directory.path() / "ca.pem").string()}}));
    phone.run([&] { PLTokenManager::sharedInstance().setAPNSToken(&firstToken); });
    EXPECT_EQ(phone->keychain().data(tokenKey).has_value(), authority == &trusted);
  }
}

}  // namespace

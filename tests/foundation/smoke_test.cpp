// The module's library over a real runtime: an application in Objective-C, with requests over loopback.

#include <gmock/gmock.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "messaging/PLMessaging.h"
#include "platform/class_face.h"
#include "platform/json_serialization.h"
#include "platform/user_notifications.h"
#include "tests/foundation/shop.h"
#include "tests/support/bytes.h"
#include "tests/support/loopback_server.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Value payload(const std::string& addInfo) {
  return Value::dictionary({{"aps", Value::dictionary({{"alert", "hi"}})}, {"addInfo", addInfo}});
}
const Value& offer() {
  static const Value value = payload(R"({"pellionPnID": 77, "clickAction": "https://shop.example?x=1",
      "conversion": {"group": "Shop", "event": "Buy"},
      "actionButton": [{"action": "a1", "clickAction": "https://shop.example/a1"}]})");
  return value;
}

std::vector<std::string> texts(id array) {
  std::vector<std::string> all;
  const auto list = platform::unboxed(array);
  for (const Value& each : list->elements()) all.emplace_back(each.text());
  return all;
}

class Shop : public testing::Test {
 protected:
  Shop() {
    const std::string file = directory_.path() / "PellionInfo.plist";
    std::ofstream(file) << R"(<plist version="1.0"><dict><key>SERVER_URL</key><string>)" << server_.url("")
                        << "</string></dict></plist>";
    shop_configure(file.c_str());
    shop_launch();
    PLMessaging::startService();
    takeEvents();
  }

  static std::vector<std::string> takeEvents() { return texts(shop_takeEvents()); }
  static bool runUntil(std::function<bool()> isOver) {
    return shop_runUntil([](void* test) { return (*static_cast<std::function<bool()>*>(test))(); }, &isOver);
  }
  /// Runs until so many events have come.
  static std::vector<std::string> awaitEvents(std::size_t count) {
    std::vector<std::string> all;
    runUntil([&] {
      for (std::string& each : takeEvents()) all.push_back(std::move(each));
      return all.size() >= count;
    });
    return all;
  }
  test::LoopbackServer::Request awaitRequest() {
    const std::size_t next = seen_++;
    runUntil([&] { return server_.requests().size() > next; });
    const auto all = server_.requests();
    return all.size() > next ? all[next] : test::LoopbackServer::Request{"no request", ""};
  }
  std::int64_t awaitStatus() {
    const auto body = platform::JSONSerialization::JSONObjectWithData(test::bytesOf(awaitRequest().body), nullptr);
    const Value* entries = body ? body->find("pnstats") : nullptr;
    return entries != nullptr ? entries->elements().front().find("status")->integer() : 0;
  }

  const platform::AutoreleasePool pool_;
  test::TemporaryDirectory directory_;
  test::LoopbackServer server_{
      [](const auto&) { return test::LoopbackServer::Reply{test::LoopbackServer::answer("200 OK", "{}")}; }};
  std::size_t seen_ = 0;
};

TEST_F(Shop, TokenIsRegisteredAndReachesTheApplication) {
  shop_deliverToken(platform::boxed(Value::bytes("\x0a\xff")));
  EXPECT_THAT(takeEvents(), ElementsAre("token 2"));
  const auto request = awaitRequest();
  EXPECT_THAT(request.head, HasSubstr("POST /sdk/v1/portal/project/pushnotification/device?deviceid=device-1&"));
  EXPECT_THAT(request.head, HasSubstr("0aff"));
  shop_failToRegister();
  EXPECT_THAT(takeEvents(), ElementsAre("failure 7"));
}

TEST_F(Shop, BackgroundNotificationIsRecordedAndItsResultMerged) {
  shop_deliverInBackground(platform::boxed(offer()));
  EXPECT_THAT(takeEvents(), ElementsAre("background 2"));
  EXPECT_EQ(awaitStatus(), 4);
  EXPECT_THAT(awaitEvents(1), ElementsAre("fetched: 0"));
}

TEST_F(Shop, ForegroundNotificationTapAndButtonAreRecorded) {
  shop_deliverInForeground(platform::boxed(offer()));
  EXPECT_THAT(takeEvents(), ElementsAre("will present 2", "presents: 2"));
  EXPECT_EQ(awaitStatus(), 4);
  shop_deliverResponse(platform::boxed(offer()),
                       platform::boxed(Value(platform::UNNotificationDefaultActionIdentifier)));
  EXPECT_THAT(awaitEvents(3), ElementsAre("response com.apple.UNNotificationDefaultActionIdentifier",
                                          "response completed", "opened URL: https://shop.example/?x=1"));
  EXPECT_EQ(awaitStatus(), 5);
  shop_deliverResponse(platform::boxed(offer()), platform::boxed(Value("a1")));
  EXPECT_THAT(awaitEvents(3), ElementsAre("response a1", "response completed", "opened URL: https://shop.example/a1"));
  EXPECT_EQ(awaitStatus(), 5);
  shop_announce(platform::boxed(Value::dictionary({{"action", "event"}, {"name", "shop_buy"}})));
  EXPECT_EQ(awaitStatus(), 6);
}

TEST_F(Shop, BothBadgeSettersStoreTheNumber) {
  shop_setBadges(5, 6);
  EXPECT_THAT(awaitEvents(3), ElementsAre("set badge: 5", "set badge: 6", "badge completed (null)"));
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 6);
}

TEST_F(Shop, ProxyForwardsAgainOnceAnotherDelegateIsSet) {
  shop_useProxy();
  shop_deliverInForeground(platform::boxed(offer()));
  EXPECT_EQ(awaitStatus(), 4);
  EXPECT_THAT(takeEvents(), IsEmpty());  // it has no method of its own that could be called
  shop_replaceCenterDelegate();
  shop_presentThroughProxy(platform::boxed(offer()));
  EXPECT_THAT(takeEvents(), Contains("will present 2"));
}

TEST_F(Shop, ReplacedDelegatesAreFollowedAsOnThePlatform) {
  shop_replaceCenterDelegate();
  shop_deliverInForeground(platform::boxed(offer()));
  EXPECT_THAT(takeEvents(), ElementsAre("other", "will present 2", "presents: 2"));
  EXPECT_EQ(awaitStatus(), 4);
  shop_replaceApplicationDelegate();
  shop_deliverToken(platform::boxed(Value::bytes("abc")));
  EXPECT_THAT(takeEvents(), ElementsAre("other token 3"));
}

struct Raising {
  static constexpr const char* className = "RaisingInCxx";
  static void defineClass(platform::ClassFace<Raising>& face) { face.method<&Raising::raise>("raise"); }
  static void raise() { throw platform::Exception("CxxException", "from C++"); }
};

TEST_F(Shop, ExceptionsAreCaughtOnBothSides) {
  EXPECT_EQ(platform::unboxed(shop_caughtFromDelegate()), Value("ShopException"));
  const platform::Strong raising = platform::makeObject<Raising>();
  bool finallyRan = false;
  EXPECT_EQ(platform::unboxed(shop_caughtFrom(raising.get(), "raise", &finallyRan)), Value("CxxException"));
  EXPECT_TRUE(finallyRan);
  try {
    platform::send<void()>(raising.get(), sel_registerName("unheardOf"));
    FAIL();
  } catch (const platform::Exception& exception) {
    EXPECT_EQ(exception.name(), platform::invalidArgumentException);
    EXPECT_THAT(exception.reason(), HasSubstr("-[RaisingInCxx unheardOf]: unrecognized selector sent to instance 0x"));
  }
}

TEST_F(Shop, MissingClassesAreNamedOnceInTheLog) {
  for (int i = 0; i < 2; ++i) shop_deliverInForeground(platform::boxed(offer()));
  awaitRequest();
  awaitRequest();
  const auto lines = texts(shop_takeLog());
  EXPECT_THAT(lines, Contains("[pellion-warning] the core library has no class QVSystemInfo").Times(1));
}

}  // namespace

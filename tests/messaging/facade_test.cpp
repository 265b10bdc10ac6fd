// The facade's own state, the badge, and the statistics of the notification extension.

#include <gmock/gmock.h>

#include "platform/notification_center.h"
#include "platform/ui_application.h"
#include "tests/messaging/messaging_phone.h"
#include "tests/support/raised.h"

namespace {

using namespace testing;
using namespace std::chrono_literals;
using platform::Value;

constexpr const char* pendingKey = "pellionDidReceivePushNotification";

class Facade : public Test {
 protected:
  static std::shared_ptr<platform::UserDefaults> shared() {
    return platform::UserDefaults::initWithSuiteName("group.test");
  }
  static std::optional<Value> left() { return shared()->objectForKey(pendingKey); }
  static std::int64_t badge() { return PLMessaging::shared().getBadgeCount(); }

  test::MessagingPhone phone_;
  host::ProcessScope scope_{*phone_->process()};
};

TEST_F(Facade, passesOnATokenOncePerChangeEvenARefusedOne) {
  phone_.server = test::answerLater(500);
  const Value token = Value::bytes("\x0A\x0B");
  const Value same = Value::bytes("\x0A\x0B");
  const std::pair<const Value*, std::size_t> steps[] = {
      {&token, 1}, {&same, 0}, {nullptr, 0}, {nullptr, 0}, {&token, 1}};
  for (const auto& [next, requests] : steps) {
    phone_.run([&, given = next] { PLMessaging::shared().setAPNSToken(given); });
    EXPECT_THAT(phone_.takeRequests(), SizeIs(requests));
    EXPECT_EQ(PLMessaging::shared().APNSToken(), next != nullptr ? std::optional(token) : std::nullopt);
  }
  EXPECT_EQ(PLMessaging::shared().pnToken(), std::nullopt);
}

TEST_F(Facade, sendsTheEntriesOfTheExtensionOnceAndIgnoresAMissingOrEmptyList) {
  const auto comeBack = [&] {
    phone_.run([&] {
      PLMessaging::shared();
      for (int i = 0; i < 2; ++i) {
        platform::NotificationCenter::postNotificationName(platform::UIApplication::didBecomeActiveNotification,
                                                           nullptr);
      }
      phone_->process()->mainQueue().advance(2999ms);
      EXPECT_THAT(phone_.takeEntries(), IsEmpty()) << "not before three seconds";
      phone_->process()->mainQueue().advance(1ms);
    });
  };
  comeBack();
  EXPECT_EQ(left(), std::nullopt);
  shared()->setObject(test::json(R"([{"a":4},{"odd":[true]}])"), pendingKey);
  comeBack();
  EXPECT_THAT(phone_.takeEntries(), ElementsAre(test::json(R"({"a":4})"), test::json(R"({"odd":[true]})")));
  EXPECT_EQ(left(), Value::list({}));
  EXPECT_THAT(phone_.take("synchronized"), SizeIs(1));
  phone_.take("stored");
  comeBack();
  EXPECT_THAT(phone_.take("stored"), IsEmpty());
}

TEST_F(Facade, KeptReadsOnlyTheCountOfThePendingStatistics) {
  const auto drain = [&](const Value& pending) {
    phone_.run([&] {
      shared()->setObject(pending, pendingKey);
      PLMessaging::shared().applicationDidBecomeActive(nullptr);
      phone_->process()->mainQueue().advance(3s);
    });
    return left();
  };
  EXPECT_EQ(drain(test::json("{}")), test::json("{}"));
  EXPECT_EQ(drain(test::json(R"({"a":4})")), Value::list({}));
  EXPECT_THAT(phone_.takePayloads(),
              ElementsAre(Truly([](const Value& sent) { return *sent.find("pnstats") == test::json(R"({"a":4})"); })));
  EXPECT_THAT(test::raised([&] { drain("text"); }), HasSubstr("-[__NSCFString count]"));
}

TEST_F(Facade, raisesForATokenThatIsNotBytesAtAnyLogLevel) {
  for (const host::LogLevel level : {host::LogLevel::none, host::LogLevel::verbose}) {
    const Value text = "token";
    EXPECT_THAT(test::raised([&] {
                  phone_.run([&] {
                    phone_->process()->setLogLevel(level);
                    PLMessaging::shared().setAPNSToken(&text);
                  });
                }),
                HasSubstr("-[__NSCFString bytes]"));
  }
}

TEST_F(Facade, keepsTheBadgeCountForOtherProcesses) {
  EXPECT_EQ(badge(), 0);
  for (const std::int64_t count : {5, 0, -2}) {
    PLMessaging::shared().updateBadgeCount(count);
    EXPECT_THAT(phone_.take("synchronized"), ElementsAre(test::json(R"({"suite":"group.test"})")));
    EXPECT_EQ(badge(), count);
  }
  for (const auto& [stored, count] : {std::pair<Value, std::int64_t>{"12 new", 12}, {"new", 0}, {7.9, 7}}) {
    shared()->setObject(stored, "pellionBadgeCount");
    EXPECT_EQ(badge(), count);
  }
}

TEST(FacadeWithoutAnAppGroup, dropsTheBadgeAndDrainsNothing) {
  for (const auto& [group, asked] : {std::pair<Value, int>{nullptr, 1}, {"", 2}, {"group.test", 3}}) {
    test::MessagingPhone phone{{{"APP_GROUP", group}}};
    phone.run([&, asks = static_cast<std::size_t>(asked)] {
      EXPECT_EQ(PLMessaging::shared().getSharedDefaults() != nullptr, asks == 3);
      EXPECT_THAT(phone.takeTrace(), ElementsAreArray(std::vector(asks, std::string("extensionAppGroup"))));
      if (asks == 3) return;
      PLMessaging::shared().updateBadgeCount(3);
      EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 0);
      PLMessaging::shared().applicationDidBecomeActive(nullptr);
      phone->process()->mainQueue().advance(3s);
    });
    EXPECT_THAT(phone.take("stored"), IsEmpty());
    EXPECT_THAT(phone.takeEntries(), IsEmpty());
  }
}

}  // namespace

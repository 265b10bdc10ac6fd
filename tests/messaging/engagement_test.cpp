// The effects of a notification: the entries sent, the pending goal, the exceptions.

#include <gmock/gmock.h>

#include "platform/notification_center.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"
#include "tests/messaging/notification_cases.h"
#include "tests/support/raised.h"

namespace {

using namespace testing;
using platform::Value;
using test::json;
using test::payload;
using test::raised;

const Value tap = platform::UNNotificationDefaultActionIdentifier;

// The virtual clock's first millisecond: entries made without advancing it carry this.
constexpr std::int64_t startOfTime = 1'767'225'600'000;

Value entry(const Value& notificationID, int status) {
  return Value::dictionary({{"notificationid", notificationID}, {"timestamp", startOfTime}, {"status", status}});
}

std::string nilAt(int index) {
  return "NSInvalidArgumentException: *** -[__NSPlaceholderDictionary initWithObjects:forKeys:count:]: attempt to "
         "insert nil object from objects[" +
         std::to_string(index) + "]";
}

class Engagement : public Test {
 protected:
  void report(std::string_view fields) {
    const Value object = json(fields);
    phone_.run([&] {
      PLMessaging::shared();
      platform::NotificationCenter::postNotificationName("PLRateUsNotification", platform::boxed(object));
    });
  }
  std::optional<std::string> goal() {
    std::optional<std::string> goal;
    phone_.run([&] { goal = PLMessaging::shared().conversionEvent(); });
    return goal;
  }

  test::MessagingPhone phone_;
};

TEST_F(Engagement, readsANotificationsIdAndIgnoresThoseWithoutAValidOne) {
  const std::vector<std::pair<std::string, Value>> recorded{
      {R"({"pellionPnID":12})", 12},     {R"({"pellionPnID":"7"})", "7"},       {R"({"pellionPnID":1.9})", 1.9},
      {R"({"pellionPnID":true})", true}, {R"({"pellionPnID":" +3x"})", " +3x"},
  };
  for (const auto& [addInfo, id] : recorded) {
    phone_.deliver(payload(addInfo));
    phone_.deliver(Value::dictionary({{"aps", Value::list({1, Value::dictionary({{"addInfo", addInfo}})})}}));
    EXPECT_THAT(phone_.takeEntries(), ElementsAre(entry(id, 4), entry(id, 4))) << addInfo << " each time, anywhere";
  }
  for (const char* addInfo :
       {"{}", R"({"pellionPnID":0})", R"({"pellionPnID":-3})", R"({"pellionPnID":0.9})", R"({"pellionPnID":"x1"})",
        R"({"a":{"pellionPnID":5}})", R"({"pellionPnID":18446744073709551615})", "not json", "7"}) {
    phone_.deliver(payload(addInfo));
    phone_.respond(payload(addInfo), tap);
    EXPECT_THAT(phone_.takeEntries(), IsEmpty()) << addInfo;
  }
  for (const char* foreign : {"{}", "[]", R"({"aps":{"alert":"x"}})"}) {
    phone_.deliver(json(foreign));
    EXPECT_THAT(phone_.takeEntries(), IsEmpty()) << foreign;
  }
  phone_.run([] { PLMessaging::shared().updateLogMsgIds(nullptr); });
  phone_.run(
      [] { EXPECT_THAT(PLMessaging::shared().pellionPnID(), SizeIs(5)) << "12 and true differ, as 7 and \"7\""; });
}

// The facade's queries, log lines and opened URLs, in order, without the queries of the requests.
TEST_F(Engagement, takesAndLogsEachStepInThisOrder) {
  const std::string facade = "pellion-log -[PLMessaging ";
  const std::string parsed = facade + "parseBodyString:]: Push notification JSON payload ";
  const std::string responded = facade + "appDidReceiveMessage:withResponse:]";
  const std::string engaged = facade + "globalEngagementDataNotification:]";
  const std::string sent = ": Push notification stats request: ";
  const std::string addInfo =
      R"({"pellionPnID":12,"clickAction":"https://a.test/","conversion":{"event":"e","group":"g"},)"
      R"("x":{"actionButton":[{"action":"open"},{"action":"later","clickAction":"https://b.test/"}]}})";
  const Value notification = payload(addInfo);
  const std::string decoded = parsed + json(addInfo).description();
  const std::string said = responded + ": Message : " + notification.description();
  const auto postWithoutReport = [] {
    platform::NotificationCenter::postNotificationName("PLRateUsNotification", nullptr);
  };
  const auto leave = [](const Value& left) {
    platform::UserDefaults::initWithSuiteName("group.test")->setObject(left, "pellionDidReceivePushNotification");
    platform::NotificationCenter::postNotificationName(platform::UIApplication::didBecomeActiveNotification, nullptr);
    host::Process::current().mainQueue().advance(std::chrono::seconds(3));
  };
  const std::string stores = "stores pellionDidReceivePushNotification";
  const Value token = Value::bytes("\x0A\x0B");
  const struct {
    std::function<void()> work;
    std::vector<std::string> trace;
  } steps[] = {
      {[&] { phone_.respond(notification, "later"); },
       {decoded, responded + ": Action Identifier : later for Notification ID 12", "getTimeinLong", "encodeWithJWT",
        said, responded + "_block_invoke_2" + sent + "1", "opens https://b.test/"}},
      {[&] { phone_.respond(notification, tap); },
       {decoded, "getTimeinLong", "encodeWithJWT", said, "opens https://a.test/",
        responded + "_block_invoke" + sent + "1"}},
      {[&] { phone_.respond(payload("{}"), tap); },
       {parsed + "{\n}", responded + ": Message : " + payload("{}").description()}},
      {[&] { phone_.deliver(notification); },
       {decoded, "getTimeinLong", "encodeWithJWT", facade + "updateLogMsgIds:]_block_invoke" + sent + "1"}},
      {[&] { phone_.deliver(payload("7")); },
       {facade +
        "parseBodyString:]: Error parsing push notification JSON payload: The data couldn\u2019t be read because "
        "it isn\u2019t in the correct format."}},
      {[&] { report(R"({"action":"event","name":"other"})"); }, {engaged + ": conversionEvent check other :: g_e"}},
      {[&] { report(R"({"action":"event","name":"g_e"})"); },
       {engaged + ": conversionEvent check g_e :: g_e", "getTimeinLong", "encodeWithJWT",
        engaged + "_block_invoke" + sent + "1"}},
      {[&] { report(R"({"action":"event"})"); }, {engaged + ": conversionEvent check (null) :: "}},
      {[&] { report(R"({"action":"session","duration":1})"); }, {}},
      {postWithoutReport, {}},
      {[&] { PLMessaging::shared().setAPNSToken(&token); },
       {facade + "setAPNSToken:]: APNs Device Token : 0a0b", "stores com.tovrin.pellion.apnstoken"}},
      {[] { PLMessaging::shared().didFailToRegisterForRemoteNotificationsWithError(nullptr); }, {}},
      {[&] { PLMessaging::shared().didFailToRegisterForRemoteNotificationsWithError(platform::boxed(token)); },
       {facade + "didFailToRegisterForRemoteNotificationsWithError:]: Push notification "
                 "didFailToRegisterForRemoteNotificationsWithError: {length = 2, bytes = 0x0a0b}"}},
      {[&] { leave(json("[1]")); },
       {stores, "encodeWithJWT", stores, facade + "applicationDidBecomeActive:]_block_invoke_2" + sent + "1"}},
      {[&] { leave(json("[]")); }, {stores}},
  };
  for (const auto& [work, expected] : steps) {
    SCOPED_TRACE(&work - &steps[0].work);
    phone_.run(work);
    std::vector<std::string> trace = phone_.takeTrace();
    std::erase_if(trace, [](const std::string& line) {
      return line.find("PLMessaging") == std::string::npos && !line.starts_with("opens ") &&
             !line.starts_with("stores ") && line != "encodeWithJWT" && line != "getTimeinLong";
    });
    EXPECT_EQ(trace, expected);
  }
  EXPECT_THAT(raised([&] { phone_.run([&] { leave("text"); }); }), HasSubstr("-[__NSCFString count]"));
}

TEST_F(Engagement, recordsATapWithoutAnActionAndAButtonWithItAndLogsFailures) {
  phone_.server = test::answerLater(500);
  const Value notification = payload(R"({"pellionPnID":12,"actionButton":[{"action":"later"}]})");
  phone_.respond(notification, tap);
  phone_.respond(notification, "later");
  EXPECT_THAT(
      phone_.takeEntries(),
      ElementsAre(entry(12, 5),
                  Value::dictionary(
                      {{"notificationid", 12}, {"timestamp", startOfTime}, {"status", 5}, {"actionid", "later"}})));
  EXPECT_THAT(phone_.takeLog(), Contains("Push notification stats request: 0").Times(2));
}

TEST_F(Engagement, keepsTheGoalOfTheLastResponse) {
  const std::vector<std::pair<std::string, std::string>> goals{
      {R"("conversion":{"event":"Purchase","group":"Shop"})", "shop_purchase"},
      {R"("conversion":{"event":"Purchase"})", "(null)_purchase"},
      {R"("conversion":{"group":"\u00c9T\u00c9"})", "\u00e9t\u00e9_(null)"},
      {R"("conversion":{})", "(null)_(null)"},
      {R"("x":{"conversion":{"event":"e","group":"g"}})", ""},
      {R"("x":1)", ""},
  };
  EXPECT_EQ(goal(), std::nullopt);
  for (const auto& [field, key] : goals) {
    phone_.respond(payload(R"({"pellionPnID":12,)" + field + "}"), tap);
    EXPECT_EQ(goal(), key);
  }
}

TEST_F(Engagement, convertsOnceWhenTheEventIsExactlyThePendingGoal) {
  phone_.respond(payload(R"({"pellionPnID":11,"conversion":{"event":"Purchase","group":"Shop"}})"), tap);
  phone_.takeEntries();
  for (const char* other : {R"({"action":"event","name":"Shop_Purchase"})", R"({"action":"event"})", "{}",
                            R"({"action":"other","name":"shop_purchase"})", R"({"action":"session"})"}) {
    report(other);
    EXPECT_THAT(phone_.takeEntries(), IsEmpty()) << other;
  }
  report(R"({"action":"event","name":"shop_purchase"})");
  report(R"({"action":"event","name":"shop_purchase"})");
  EXPECT_THAT(phone_.takeEntries(), ElementsAre(entry(11, 6)));
  EXPECT_EQ(goal(), "");
}

TEST_F(Engagement, removesTheGoalWhenASessionEndsWithADuration) {
  phone_.respond(payload(R"({"pellionPnID":11,"conversion":{"event":"e","group":"g"}})"), tap);
  phone_.takeEntries();
  report(R"({"action":"session"})");
  EXPECT_EQ(goal(), "g_e");
  report(R"({"action":"session","duration":null})");
  EXPECT_EQ(goal(), "");
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
}

TEST_F(Engagement, KeptAConversionHasTheIdSeenLastAndAnEmptyNameConvertsAfterAResponseWithoutAGoal) {
  phone_.respond(payload(R"({"pellionPnID":11})"), tap);
  phone_.deliver(payload(R"({"pellionPnID":12})"));
  phone_.takeEntries();
  report(R"({"action":"event","name":""})");
  EXPECT_THAT(phone_.takeEntries(), ElementsAre(entry(12, 6)));
}

TEST_F(Engagement, KeptAnEmptyNameBeforeAnyIdRaisesAfterTheGoalIsCleared) {
  report(R"({"action":"session","duration":1})");
  EXPECT_EQ(raised([&] { report(R"({"action":"event","name":""})"); }), nilAt(0));
  EXPECT_EQ(goal(), "");
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
}

TEST_F(Engagement, KeptAResponseThatMatchesNoButtonRaisesAfterTheGoalIsStored) {
  const std::string goalField =
      R"({"pellionPnID":12,"clickAction":"https://a.test","conversion":{"event":"e","group":"g"})";
  for (const std::string& buttons :
       {std::string("}"), std::string(R"(,"actionButton":[{"clickAction":"x://y"}]})"),
        std::string(R"(,"actionButton":{}})"), std::string(R"(,"actionButton":[{"action":"other"}]})")}) {
    for (const char* action : {"reply", platform::UNNotificationDismissActionIdentifier}) {
      EXPECT_EQ(raised([&] { phone_.respond(payload(goalField + buttons), action); }), nilAt(3));
      EXPECT_EQ(goal(), "g_e");
    }
  }
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
  EXPECT_THAT(phone_.take("opened URL"), IsEmpty());
  EXPECT_THAT(phone_.takeLog(), Not(Contains(StartsWith("Message : "))));
}

TEST_F(Engagement, KeptAValueOfTheWrongKindRaises) {
  for (const Value& row : test::caseRows("messaging/cases/wrong_kinds.json")) {
    EXPECT_THAT(raised([&] { phone_.respond(test::payloadOf(row), test::actionOf(row)); }),
                HasSubstr(test::textAt(row, "raises") + ": unrecognized selector sent to instance 0x"))
        << row.description();
  }
  EXPECT_THAT(phone_.takeEntries(), IsEmpty());
}

TEST_F(Engagement, readsPayloadsOfAnyDepthAndTheLastOfRepeatedIds) {
  Value tree = Value::dictionary({{"addInfo", R"({"pellionPnID":0,"pellionPnID":9223372036854775807})"}});
  for (int i = 0; i < 100'000; ++i) tree = Value::dictionary({{"k", Value::list({1, tree})}});
  phone_.deliver(tree);
  EXPECT_THAT(phone_.takeEntries(), ElementsAre(entry(INT64_MAX, 4)));
}

}  // namespace

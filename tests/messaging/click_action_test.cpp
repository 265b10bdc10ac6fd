// What opens: the automatic path and the notification handler side by side. Where they differ is meant.

#include <gmock/gmock.h>

#include "messaging/PLNotificationHandler.h"
#include "platform/exception.h"
#include "platform/user_notifications.h"
#include "tests/messaging/messaging_phone.h"

namespace {

using platform::Value;
using test::json;
using testing::ElementsAre;

constexpr const char* tap = platform::UNNotificationDefaultActionIdentifier;
constexpr const char* dismiss = platform::UNNotificationDismissActionIdentifier;

struct Row {
  std::string name;
  std::string payload;
  std::string action;
  std::string automatic;  // what it opens, "" for nothing, "raises"
  std::string handler;
};

std::string withAddInfo(const std::string& fields) {
  const Value text = std::string(R"({"pellionPnID":1,)") + fields + "}";
  const Value encoded = platform::JSONSerialization::dataWithJSONObject(Value::dictionary({{"addInfo", text}}));
  return {encoded.bytes().begin(), encoded.bytes().end()};
}

const std::string twoButtons =
    R"("clickAction":"https://a.test/","actionButton":[{"action":"one","clickAction":"https://b.test/1"},)"
    R"({"action":"two","clickAction":"https://b.test/2"},{"action":"two","clickAction":"https://b.test/3"},)"
    R"({"action":"bare"},{"action":"nested","in":{"clickAction":"https://b.test/n"}}])";

const std::vector<Row> rows{
    {"tap", withAddInfo(twoButtons), tap, "https://a.test/", "https://a.test/"},
    {"button", withAddInfo(twoButtons), "one", "https://b.test/1", "https://b.test/1"},
    {"first of two alike", withAddInfo(twoButtons), "two", "https://b.test/2", "https://b.test/2"},
    {"button without click action", withAddInfo(twoButtons), "bare", "", ""},
    {"click action deep in the button", withAddInfo(twoButtons), "nested", "https://b.test/n", ""},
    {"unknown button", withAddInfo(twoButtons), "reply", "raises", "https://a.test/"},
    {"dismissed", withAddInfo(twoButtons), dismiss, "raises", ""},
    {"no click action", withAddInfo(R"("x":1)"), tap, "", ""},
    {"not a URL", withAddInfo(R"("clickAction":"not a:url")"), tap, "", ""},
    {"not a whole URL", withAddInfo(R"("clickAction":"a b")"), tap, "", "refused a%20b"},
    {"outside the grammar", withAddInfo(R"("clickAction":"own:%20[")"), tap, "own:%2520%5B", "own:%2520%5B"},
    {"empty", withAddInfo(R"("clickAction":"")"), tap, "", ""},
    {"a number", withAddInfo(R"("clickAction":7)"), tap, "raises", ""},
    {"a scheme that nothing opens", withAddInfo(R"("clickAction":"nobody://x")"), tap, "", "refused nobody://x"},
    {"the same, asked about", withAddInfo(R"("clickAction":"missing://x")"), tap, "", "refused missing://x"},
    {"another application's scheme", withAddInfo(R"("clickAction":"other://x")"), tap, "", "other://x"},
    {"the same, asked about", withAddInfo(R"("clickAction":"asked://x")"), tap, "asked://x", "asked://x"},
    {"every phone's scheme", withAddInfo(R"("clickAction":"TEL:1")"), tap, "", "TEL:1"},
    {"the application's own", withAddInfo(R"("clickAction":"own://x")"), tap, "own://x", "own://x"},
    {"a port too large", withAddInfo(R"("clickAction":"https://a:65536")"), tap, "https://a:65536", "https://a:65536"},
    {"buttons as a dictionary", withAddInfo(R"("clickAction":"https://a.test/","actionButton":{"a":1})"), "one",
     "raises", "https://a.test/"},
    {"addInfo as a dictionary", R"({"addInfo":{"pellionPnID":1,"clickAction":"https://a.test/"}})", tap, "raises",
     "https://a.test/"},
    {"addInfo deep in the payload", R"({"x":{"addInfo":"{\"pellionPnID\":1,\"clickAction\":\"https://a.test/\"}"}})",
     tap, "https://a.test/", ""},
    {"addInfo of another kind", R"({"addInfo":7})", tap, "raises", ""},
    {"addInfo that is a list", R"({"addInfo":"[1]"})", tap, "raises", ""},
    {"no addInfo", R"({"aps":{}})", tap, "", ""},
    {"addInfo that is no JSON", R"({"addInfo":"no JSON"})", tap, "", ""},
    {"click action deep in addInfo", withAddInfo(R"("x":{"clickAction":"https://a.test/"})"), tap, "", ""},
    {"buttons deep in addInfo",
     withAddInfo(
         R"("clickAction":"https://a.test/","x":{"actionButton":[{"action":"one","clickAction":"https://b.test/"}]})"),
     "one", "https://b.test/", "https://a.test/"},
    {"buttons that are none", withAddInfo(R"("clickAction":"https://a.test/","actionButton":[7,{},{"action":1}])"),
     "one", "raises", "https://a.test/"},
    {"no id", R"({"addInfo":"{\"clickAction\":\"https://a.test/\"}"})", tap, "", "https://a.test/"},
};

TEST(ClickAction, opensByBothPathsAsTheTableSays) {
  test::MessagingPhone phone;
  const auto outcome = [&](auto work) -> std::string {
    try {
      phone.run(work);
    } catch (const platform::Exception&) {
      return "raises";
    }
    std::string text;
    for (const Value& details : phone.take("opened URL")) {
      text += details.find("url")->text();
      EXPECT_EQ(*details.find("calledOnMainThread"), true);
    }
    for (const Value& details : phone.take("refused URL"))
      text += "refused " + std::string(details.find("url")->text());
    return text;
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Value payload = json(row.payload);
    EXPECT_EQ(outcome([&] {
                PLMessaging::shared().appDidReceiveMessage(&payload,
                                                           host::makeNotificationResponse(payload, row.action).get());
              }),
              row.automatic);
    bool completed = false;
    EXPECT_EQ(outcome([&] {
                const platform::Block<void()> completion([&] { completed = true; });
                PLNotificationHandler::shared().handleNotificationResponse(
                    host::makeNotificationResponse(payload, row.action).get(), completion.get());
                EXPECT_TRUE(completed) << "within the call, whatever opens";
                EXPECT_THAT(phone.take("opened URL"), testing::IsEmpty()) << "later, that is";
              }),
              row.handler);
  }
}

TEST(ClickAction, isReadOfAnObjectAlone) {
  test::MessagingPhone phone;
  phone.run([] {
    for (const char* text : {"no JSON", "[1]"}) {
      EXPECT_EQ(PLNotificationHandler::shared().addInfoDictionaryFromUserInfo(Value::dictionary({{"addInfo", text}})),
                std::nullopt)
          << text;
    }
  });
}

id nothing(id, SEL) { return nullptr; }

TEST(ClickAction, isTheNotificationsOwnWithoutAnActionAndNoneWithoutANotification) {
  test::MessagingPhone phone;
  const auto handle = [&] {
    phone.run([] {
      PLNotificationHandler::shared().handleNotificationResponse(
          host::makeNotificationResponse(json(rows[1].payload), rows[1].action).get(), nullptr);
    });
    return phone.takeTrace();
  };
  EXPECT_THAT(handle(), ElementsAre("opens https://b.test/1"));
  const host::ProcessScope scope(*phone->process());
  const auto lose = [](const char* property) {
    const Method method = class_getInstanceMethod(objc_getClass("UNNotificationResponse"), sel_registerName(property));
    method_setImplementation(method, platform::implementationOf(nothing));
  };
  lose("actionIdentifier");
  EXPECT_THAT(handle(), ElementsAre("opens https://a.test/"));
  lose("notification");
  EXPECT_THAT(handle(), testing::IsEmpty());
}

}  // namespace

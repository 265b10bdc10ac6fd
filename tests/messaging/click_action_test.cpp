// The URLs that the automatic path and the notification handler open. Their differences are deliberate.

#include <gmock/gmock.h>

#include "host/objc/runtime_functions.h"
#include "messaging/PLNotificationHandler.h"
#include "platform/exception.h"
#include "tests/messaging/notification_cases.h"

namespace {

using platform::Value;
using testing::ElementsAre;

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
  for (const Value& notification : test::caseRows("messaging/cases/click_actions.json")) {
    const Value payload = test::payloadOf(notification);
    for (const Value& row : test::elements(test::at(notification, "responses"))) {
      SCOPED_TRACE(test::textAt(row, "case"));
      const auto respond = [&] { return host::makeNotificationResponse(payload, test::actionOf(row)); };
      EXPECT_EQ(outcome([&] { PLMessaging::shared().appDidReceiveMessage(&payload, respond().get()); }),
                test::textAt(row, "opens"));
      EXPECT_EQ(outcome([&] {
                  bool completed = false;
                  const platform::Block<void()> completion([&] { completed = true; });
                  PLNotificationHandler::shared().handleNotificationResponse(respond().get(), completion.get());
                  EXPECT_TRUE(completed) << "within the call, for any URL";
                  EXPECT_THAT(phone.take("opened URL"), testing::IsEmpty()) << "opened later";
                }),
                test::textAt(row, "handler"));
    }
  }
}

TEST(ClickAction, isReadOnlyFromAnObject) {
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
  const Value carried = test::payload(
      R"({"clickAction":"https://a.test/","actionButton":[{"action":"one","clickAction":"https://b.test/1"}]})");
  const auto handle = [&] {
    phone.run([&] {
      PLNotificationHandler::shared().handleNotificationResponse(host::makeNotificationResponse(carried, "one").get(),
                                                                 nullptr);
    });
    return phone.takeTrace();
  };
  EXPECT_THAT(handle(), ElementsAre("opens https://b.test/1"));
  const host::ProcessScope scope(*phone->process());
  const auto lose = [](const char* property) {
    const Method method = class_getInstanceMethod(objc_getClass("UNNotificationResponse"), sel_registerName(property));
    method_setImplementation(method, host::asIMP(nothing));
  };
  lose("actionIdentifier");
  EXPECT_THAT(handle(), ElementsAre("opens https://a.test/"));
  lose("notification");
  EXPECT_THAT(handle(), testing::IsEmpty());
}

}  // namespace

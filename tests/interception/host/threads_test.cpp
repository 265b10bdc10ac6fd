// Concurrent calls: the system's events on the main thread, badges, click actions and consent on the application's
// own threads, completions on the network's. Few of the faults fail a test; the thread sanitizer detects the others.

#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "host/objc/programming_error.h"
#include "host/phone/core_library.h"
#include "host/phone/system_events.h"
#include "messaging/PLNotificationHandler.h"
#include "pellion/backend/backend.h"
#include "platform/notification_center.h"
#include "platform/user_notifications.h"
#include "tests/messaging/messaging_phone.h"
#include "tests/support/test_application.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;

constexpr int rounds = 40;
const Value notification =
    payload(R"({"pellionPnID": 7, "clickAction": "https://a.example", "conversion": {"group": "g", "event": "e"}})");
const Value tap = platform::UNNotificationDefaultActionIdentifier;
const Value goal = json(R"({"action": "event", "name": "g_e"})");

/// Completes a notification in the background from its own thread.
void fetchElsewhere(id, SEL, id, id, FetchHandler handler) {
  std::thread([&process = host::Process::current(),
               answer = platform::Block<void(platform::UIBackgroundFetchResult)>(handler)]() mutable {
    const host::ProcessScope scope(process);
    std::exchange(answer, {})(platform::UIBackgroundFetchResultNewData);
  }).join();
}

/// The application's own threads, each of which does its work `rounds` times.
class Threads {
 public:
  explicit Threads(host::Process& process) : process_(process) {}

  void start(std::function<void(int round)> work) {
    ++running_;
    threads_.emplace_back([this, work = std::move(work)] {
      const host::ProcessScope scope(process_);
      for (int round = 0; round < rounds; ++round) work(round);
      --running_;
    });
  }
  /// Callbacks of the platform reach the main thread through the main queue.
  void startEvents(const std::function<void(int round)>& event) {
    start([this, event](int round) { process_.mainQueue().async([event, round] { event(round); }); });
  }
  void finish() {
    while (running_ > 0) process_.mainQueue().runUntilIdle();
    threads_.clear();
    process_.mainQueue().runUntilIdle();
  }

 private:
  host::Process& process_;
  std::atomic<int> running_ = 0;
  std::vector<std::jthread> threads_;
};

TEST(Threads, bringTokensDeliveriesGoalsBadgesAndCompletionsAtOnce) {
  pellion::Backend backend({});
  TestPhone phone(configuration(backend.url(), {{"APP_META", json("{}")}, {"APP_GROUP", "group.test"}}));
  const host::ProcessScope scope(*phone->process());
  const Class delegateClass = appDelegateClass("ShopDelegate");
  addMethod<&fetchElsewhere>(delegateClass, didReceive);
  const Strong centerDelegate = makeInstance(centerDelegateClass<'A'>("ShopCenterDelegate"));
  host::startApplication(makeInstance(delegateClass));
  setCenterDelegate(centerDelegate.get());
  PLMessaging::startService();

  const std::vector<Value> tokens{Value::bytes("\x0a"), Value::bytes("\x0b")};
  Threads threads(*phone->process());
  threads.startEvents([&](int round) { host::deliverDeviceToken(&tokens[static_cast<std::size_t>(round) % 2]); });
  threads.startEvents([](int) { host::deliverInForeground(notification); });
  threads.startEvents([](int) { host::deliverInBackground(notification); });
  threads.startEvents([](int) {
    host::deliverResponse(notification, tap);
    host::announceEngagement(goal);
  });
  threads.start(
      [](int) { platform::NotificationCenter::postNotificationName("PLXPIIStatusUpdateNotification", nullptr); });
  threads.start([](int round) {
    platform::send<void(std::int64_t)>(sharedApplication(), sel("setApplicationIconBadgeNumber:"), round);
  });
  threads.start([](int) {
    const Strong response = host::makeNotificationResponse(notification, tap);
    PLNotificationHandler::shared().handleNotificationResponse(response.get(), nullptr);
  });
  threads.finish();

  std::map<bool, int> statistics;
  for (const pellion::ReceivedRequest& request : backend.takeRequests()) {
    ++statistics[request.path().ends_with("/channel/add")];
  }
  EXPECT_EQ(statistics[true], 4 * rounds) << "a delivery twice, a tap and its goal";
  EXPECT_THAT(phone.takeLog(), Contains("Push notification stats request: 1").Times(4 * rounds));
  EXPECT_THAT(tokens, Contains(phone->keychain().data("com.tovrin.pellion.apnstoken")));
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), rounds - 1);
  const std::vector<Value> opened = phone.take("opened URL");
  EXPECT_THAT(opened, SizeIs(2 * rounds));
  for (const Value& details : opened) EXPECT_EQ(*details.find("calledOnMainThread"), true);
  EXPECT_THAT(phone.take("fetched"),
              AllOf(SizeIs(rounds), Each(Property(&Value::description, "{\n    result = 0;\n}"))));
}

TEST(Threads, mayNotCallFunctionsOfTheMainThread) {
  TestPhone phone(configuration("http://127.0.0.1:1"));
  const struct {
    const char* call;
    std::function<void()> work;
  } calls[] = {
      {"an event of the system is delivered", [] { host::startApplication(nullptr); }},
      {"an event of the system is delivered", [] { host::becomeActive(); }},
      {"an event of the system is delivered", [] { host::deliverDeviceToken(nullptr); }},
      {"an event of the system is delivered", [] { host::deliverInBackground(notification); }},
      {"an event of the system is delivered", [] { host::deliverInForeground(notification); }},
      {"an event of the system is delivered", [] { host::deliverResponse(notification, tap); }},
      {"an engagement is announced", [] { host::announceEngagement(goal); }},
      {"-[UIApplication setDelegate:] is called", [] { setAppDelegate(nullptr); }},
      {"-[UNUserNotificationCenter setDelegate:] is called", [] { setCenterDelegate(nullptr); }},
      {"the main queue is turned", [] { host::Process::current().mainQueue().runUntilIdle(); }},
      {"the main queue is turned", [] { host::Process::current().mainQueue().runWhatIsDue(); }},
  };
  for (const auto& [call, work] : calls) {
    std::string message;
    std::thread([&, &tried = work] {
      const host::ProcessScope scope(*phone->process());
      message = thrown<host::ProgrammingError>(tried);
    }).join();
    EXPECT_EQ(message, call + std::string(" on a thread other than the main thread; dispatch it to the main queue"));
  }
}

}  // namespace

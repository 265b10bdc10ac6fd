// The badge setters, through which the application sets the number on its icon.

#include <gmock/gmock.h>

#include "interception/badge_hooks.h"
#include "interception/platform_access.h"
#include "tests/interception/interception_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::Value;

/// What the shared store's badge was when the platform's setter ran.
void notePlatformBadge(id, SEL, std::int64_t number) {
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), number);
  note('P', "badge");
}

TEST_F(Interception, RecordsABadgeBeforeThePlatformSetsItEvenWhenHookedTwice) {
  const Class application = objc_getClass("UIApplication");
  method_setImplementation(class_getInstanceMethod(application, sel("setApplicationIconBadgeNumber:")),
                           platform::implementationOf<&notePlatformBadge>());
  PLMessaging::startService();
  for (const std::int64_t number : {3, 0, -1}) {
    platform::send<void(std::int64_t)>(sharedApplication(), sel("setApplicationIconBadgeNumber:"), number);
    EXPECT_THAT(takeCalls(), ElementsAre("P badge"));
    EXPECT_TRUE(injectSelector(application, sel("setApplicationIconBadgeNumber:"), platform::classOf<Proxy>(),
                               sel("pellionSetApplicationIconBadgeNumber:")));
  }
  bool isDone = false;
  phone_.run([&] {
    const platform::Block<void(id)> handler([&](id) { isDone = true; });
    platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
        currentNotificationCenter(), sel("setBadgeCount:withCompletionHandler:"), 5, handler.get());
    EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 5);
  });
  EXPECT_TRUE(isDone);
  const std::vector<Value> set = phone_.take("set badge");
  ASSERT_THAT(set, SizeIs(1));
  EXPECT_EQ(*set[0].find("number"), Value(5));
}

TEST_F(Interception, KeptTheDonorWithoutCounterpartWhenThePlatformLacksTheSetter) {
  const Class cls = makeClass("OldCenter");
  EXPECT_FALSE(injectSelector(cls, sel("setBadgeCount:withCompletionHandler:"),
                              platform::classOf<PLUserNotificationCenter>(),
                              sel("pellionSetBadgeCount:withCompletionHandler:")));
  EXPECT_THAT(raised([&] {
                platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
                    makeInstance(cls).get(), sel("setBadgeCount:withCompletionHandler:"), 4, nullptr);
              }),
              HasSubstr("-[OldCenter pellionSetBadgeCount:withCompletionHandler:]: unrecognized selector"));
  EXPECT_EQ(PLMessaging::shared().getBadgeCount(), 4) << "recorded anyway";
}

}  // namespace

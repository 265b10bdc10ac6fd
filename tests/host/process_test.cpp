// The end of a process while its parts still work.

#include "host/phone/process.h"

#include <gtest/gtest.h>

#include "platform/class_face.h"
#include "platform/dispatch.h"
#include "platform/notification_center.h"
#include "platform/process.h"
#include "platform/url_session.h"
#include "tests/support/test_process.h"

namespace {

struct Observer {
  static constexpr const char* className = "Observer";
  static void defineClass(platform::ClassFace<Observer>& face) { face.method<&Observer::receive>("receive:"); }
  ~Observer() { platform::NotificationCenter::removeObserver(platform::objectOf(*this)); }
  void receive(id) {}
};

// When it ends, it uses an object that has ended and one that was never made, and schedules work.
struct Troublesome {
  platform::Strong observer = platform::makeObject<Observer>();
  ~Troublesome() {
    struct Late {
      platform::Strong object = platform::makeObject<Observer>();
    };
    platform::Process::shared<Late>();
    platform::dispatchAsyncOnMainQueue([kept = observer] {});
    platform::NotificationCenter::postNotificationName("name", nullptr);
    const auto session = platform::URLSession::sessionWithDefaultConfiguration();
    session->dataTaskWithRequest({}, [kept = observer](auto...) { ADD_FAILURE(); })->resume();
  }
};

TEST(Process, endsObjectsAndRequestsThatItsPartsMakeWhileItEnds) {
  test::TestProcess process;
  const platform::Strong& observer = platform::Process::shared<Troublesome>().observer;
  // The center is made last, so it ends first.
  platform::NotificationCenter::addObserver(observer.get(), sel_registerName("receive:"), "name", nullptr);
  process->mainQueue().async([kept = observer] { platform::dispatchAsyncOnMainQueue([kept] {}); });
}

int received = 0;
struct Counter {
  static constexpr const char* className = "Counter";
  static void defineClass(platform::ClassFace<Counter>& face) { face.method<&Counter::receive>("receive:"); }
  static void receive(id) { ++received; }
};

TEST(Process, hasANotificationCenterOfItsOwn) {
  const test::TestProcess process;
  const platform::Strong counter = platform::makeObject<Counter>();
  platform::NotificationCenter::addObserver(counter.get(), sel_registerName("receive:"), "Event", nullptr);
  {
    const test::TestProcess other;
    platform::NotificationCenter::postNotificationName("Event", nullptr);
  }
  EXPECT_EQ(received, 0);
  platform::NotificationCenter::postNotificationName("Event", nullptr);
  EXPECT_EQ(received, 1);
}

TEST(Process, leavesItsGroupsUnusableButSafe) {
  const auto group = [] {
    const test::TestProcess process;
    return platform::DispatchGroup();
  }();
  group.enter();
  group.notifyOnMainQueue([] { ADD_FAILURE(); });
  group.leave();
}

}  // namespace

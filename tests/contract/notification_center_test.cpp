#include "platform/notification_center.h"

#include <gmock/gmock.h>

#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;
using platform::NotificationCenter::addObserver;
using platform::NotificationCenter::postNotificationName;
using platform::NotificationCenter::removeObserver;

struct Delivery {
  std::string listener;
  Strong notification;
};

class Listener {
 public:
  static constexpr const char* className = "ContractListener";
  static void defineClass(platform::ClassFace<Listener>& face) { face.method<&Listener::receive>("receive:"); }
  Listener(std::string name, std::vector<Delivery>& received) : name_(std::move(name)), received_(received) {}
  void receive(id notification) {
    received_.push_back({name_, notification});
    if (then) then();
  }
  std::function<void()> then;

 private:
  std::string name_;
  std::vector<Delivery>& received_;
};

class NotificationCenter : public Contract {
 protected:
  std::vector<std::string> takeListeners() {
    std::vector<std::string> names;
    for (const Delivery& each : std::exchange(received, {})) names.push_back(each.listener);
    return names;
  }

  std::vector<Delivery> received;
  Strong first = platform::makeObject<Listener>("first", received);
  Strong second = platform::makeObject<Listener>("second", received);
  Strong sender = makeInstance(objc_getClass("NSObject"));
};

TEST_F(NotificationCenter, NotifiesInTheOrderOfRegistrationOnceForEachRegistration) {
  for (const Strong& each : {second, first, second}) addObserver(each.get(), sel("receive:"), "Event", nullptr);
  addObserver(first.get(), sel("receive:"), "Other", nullptr);
  postNotificationName("Event", sender.get(), platform::boxed(Value::dictionary({{"a", 1}})));
  const auto property = [&](const char* what) {
    return platform::send<id()>(received.at(0).notification.get(), sel(what));
  };
  EXPECT_EQ(platform::unboxed(property("name")), Value("Event"));
  EXPECT_EQ(property("object"), sender.get());
  EXPECT_EQ(platform::unboxed(property("userInfo")), Value::dictionary({{"a", 1}}));
  EXPECT_THAT(takeListeners(), ElementsAre("second", "first", "second"));
}

TEST_F(NotificationCenter, NotifiesOnlyOfTheRequestedSender) {
  addObserver(first.get(), sel("receive:"), "Event", sender.get());
  addObserver(second.get(), sel("receive:"), "Event", nullptr);
  postNotificationName("Event", first.get());
  EXPECT_THAT(takeListeners(), ElementsAre("second"));
  postNotificationName("Event", sender.get());
  EXPECT_THAT(takeListeners(), ElementsAre("first", "second"));
  sender = {};
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("second")) << "a sender that is gone is not any sender";
}

TEST_F(NotificationCenter, ObserverRemovedDuringAPostIsNotNotifiedOneAddedReceivesTheNext) {
  const Strong third = platform::makeObject<Listener>("third", received);
  addObserver(first.get(), sel("receive:"), "Event", nullptr);
  addObserver(second.get(), sel("receive:"), "Event", nullptr);
  platform::objectState<Listener>(first.get()).then = [&] {
    removeObserver(second.get());
    addObserver(third.get(), sel("receive:"), "Event", nullptr);
  };
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("first"));
  platform::objectState<Listener>(first.get()).then = nullptr;
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("first", "third"));
}

TEST_F(NotificationCenter, PosterReceivesWhatAnObserverRaises) {
  addObserver(first.get(), sel("receive:"), "Event", nullptr);
  addObserver(second.get(), sel("receive:"), "Inner", nullptr);
  platform::objectState<Listener>(second.get()).then = [] { throw platform::Exception("InnerException", "no"); };
  platform::objectState<Listener>(first.get()).then = [] {
    EXPECT_EQ(raised([] { postNotificationName("Inner", nullptr); }), "InnerException: no");
    throw platform::Exception("OuterException", "no");
  };
  EXPECT_EQ(raised([] { postNotificationName("Event", nullptr); }), "OuterException: no");
  platform::objectState<Listener>(first.get()).then = nullptr;
  EXPECT_EQ(raised([] { postNotificationName("Event", nullptr); }), "nothing");
  EXPECT_THAT(takeListeners(), ElementsAre("first", "second", "first"));
}

TEST_F(NotificationCenter, RetainsNoObserverAndSkipsDeallocatedOnes) {
  addObserver(first.get(), sel("receive:"), "Event", nullptr);
  const platform::Weak weak(first.get());
  first = {};
  EXPECT_FALSE(weak.load());
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), IsEmpty());
}

}  // namespace

#include "platform/notification_center.h"

#include <gmock/gmock.h>

#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;
using platform::Value;
using platform::NotificationCenter::addObserver;
using platform::NotificationCenter::postNotificationName;
using platform::NotificationCenter::removeObserver;

struct Heard {
  std::string listener;
  Strong notification;
};

class Listener {
 public:
  static constexpr const char* className = "Listener";
  static void defineClass(platform::ClassFace<Listener>& face) { face.method<&Listener::hear>("hear:"); }
  Listener(std::string name, std::vector<Heard>& heard) : name_(std::move(name)), heard_(heard) {}
  void hear(id notification) {
    heard_.push_back({name_, notification});
    if (then) then();
  }
  std::function<void()> then;

 private:
  std::string name_;
  std::vector<Heard>& heard_;
};

class NotificationCenter : public Test {
 protected:
  std::vector<std::string> takeListeners() {
    std::vector<std::string> names;
    for (const Heard& each : std::exchange(heard, {})) names.push_back(each.listener);
    return names;
  }

  TestProcess process;
  std::vector<Heard> heard;
  Strong first = platform::makeObject<Listener>("first", heard);
  Strong second = platform::makeObject<Listener>("second", heard);
  Strong sender = makeInstance(objc_getClass("NSObject"));
};

TEST_F(NotificationCenter, TellsInTheOrderOfRegistrationEachAsOftenAsItRegistered) {
  for (const Strong& each : {second, first, second}) addObserver(each.get(), sel("hear:"), "Event", nullptr);
  addObserver(first.get(), sel("hear:"), "Other", nullptr);
  postNotificationName("Event", sender.get(), platform::boxed(Value::dictionary({{"a", 1}})));
  const auto told = [&](const char* what) { return platform::send<id()>(heard.at(0).notification.get(), sel(what)); };
  EXPECT_EQ(platform::unboxed(told("name")), Value("Event"));
  EXPECT_EQ(told("object"), sender.get());
  EXPECT_EQ(platform::unboxed(told("userInfo")), Value::dictionary({{"a", 1}}));
  EXPECT_THAT(takeListeners(), ElementsAre("second", "first", "second"));
}

TEST_F(NotificationCenter, TellsOfTheSenderAskedFor) {
  addObserver(first.get(), sel("hear:"), "Event", sender.get());
  addObserver(second.get(), sel("hear:"), "Event", nullptr);
  postNotificationName("Event", first.get());
  EXPECT_THAT(takeListeners(), ElementsAre("second"));
  postNotificationName("Event", sender.get());
  EXPECT_THAT(takeListeners(), ElementsAre("first", "second"));
  sender = {};
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("second")) << "a sender that is gone is not any sender";
}

TEST_F(NotificationCenter, ObserverRemovedDuringAPostIsNotToldOneAddedHearsTheNext) {
  const Strong third = platform::makeObject<Listener>("third", heard);
  addObserver(first.get(), sel("hear:"), "Event", nullptr);
  addObserver(second.get(), sel("hear:"), "Event", nullptr);
  platform::objectState<Listener>(first.get()).then = [&] {
    removeObserver(second.get());
    addObserver(third.get(), sel("hear:"), "Event", nullptr);
  };
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("first"));
  platform::objectState<Listener>(first.get()).then = nullptr;
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), ElementsAre("first", "third"));
}

TEST_F(NotificationCenter, KeepsNobodyAliveAndForgetsTheDead) {
  addObserver(first.get(), sel("hear:"), "Event", nullptr);
  const platform::Weak weak(first.get());
  first = {};
  EXPECT_FALSE(weak.load());
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), IsEmpty());
}

TEST_F(NotificationCenter, BelongsToItsProcess) {
  addObserver(first.get(), sel("hear:"), "Event", nullptr);
  const TestProcess other;
  postNotificationName("Event", nullptr);
  EXPECT_THAT(takeListeners(), IsEmpty());
}

}  // namespace

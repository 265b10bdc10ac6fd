// What the host does where the platform says nothing of key-value observing; tests/contract has the rest.

#include "host/phone/process.h"
#include "services/url_loading/network.h"
#include "tests/contract/observed_objects.h"

namespace {

using namespace test;

using HostObserving = KeyValueObserving;

TEST_F(HostObserving, RejectsKeysThatItCannotObserve) {
  const auto add = [&](const char* key) { platform::addObserver(application.get(), watcher.get(), key, 0, nullptr); };
  EXPECT_THROW(add("name"), platform::Exception);
  EXPECT_THROW(add("delegate.name"), platform::Exception);
}

TEST_F(HostObserving, AnnouncedChangeOfAnUnknownKeyRaises) {
  platform::addObserver(application.get(), watcher.get(), "title", newAndOld, nullptr);
  EXPECT_THAT(raised([&] {
                platform::send<void(id)>(application.get(), sel("willChangeValueForKey:"), platform::boxed("title"));
              }),
              testing::MatchesRegex("NSUnknownKeyException: \\[<ContractApplication 0x.*> valueForUndefinedKey:\\]: "
                                    "this class is not key value coding-compliant for the key title."));
}

TEST_F(HostObserving, ClassWhoseNotifyingNameIsTakenIsReportedOnceAndObservedWithoutIt) {
  std::vector<Value> blocked;
  host::Clock clock{host::Clock::Kind::virtualTime};
  services::Network network;
  host::Process reporting({.clock = clock, .network = network, .sink = [&](const host::Event& event) {
                             EXPECT_EQ(std::string(event.actor) + " " + std::string(event.what), "platform blocked");
                             blocked.push_back(event.details);
                           }});
  const host::ProcessScope scope(reporting);
  makeClass("NSKVONotifying_ContractApplication");
  const Strong observed = platform::makeObject<Application>();
  const Strong observer = platform::makeObject<Watcher>();
  const auto& received = platform::objectState<Watcher>(observer.get()).changes;
  for (const char* key : {"delegate", "badge"}) {
    platform::addObserver(observed.get(), observer.get(), key, newAndOld, nullptr);
  }
  ASSERT_EQ(blocked.size(), 1U);
  EXPECT_EQ(blocked[0].find("reason")->text(),
            "key-value observing needs a class named NSKVONotifying_ContractApplication, and the name is taken");
  EXPECT_EQ(object_getClass(observed.get()), platform::classOf<Application>());
  platform::send<void(std::int64_t)>(observed.get(), sel("setBadge:"), 5);
  EXPECT_TRUE(received.empty());
  const id key = platform::boxed(Value("badge"));
  platform::send<void(id)>(observed.get(), sel("willChangeValueForKey:"), key);
  platform::send<void(std::int64_t)>(observed.get(), sel("setBadge:"), 6);
  platform::send<void(id)>(observed.get(), sel("didChangeValueForKey:"), key);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].oldValue, Value(5));
  EXPECT_EQ(received[0].newValue, Value(6));
  platform::removeObserver(observed.get(), observer.get(), "badge");
  EXPECT_THROW(platform::removeObserver(observed.get(), observer.get(), "badge"), platform::Exception);
}

}  // namespace

#include "bench/fleet/phones.h"

#include <unistd.h>

#include <utility>

#include "host/phone/system_events.h"
#include "pellion/run/application_objects.h"
#include "services/memory_store.h"
#include "services/property_list/property_list.h"

namespace bench {

using platform::Value;

struct Phones::Member {
  explicit Member(services::Network& network, host::Phone::Options options) : phone(network, std::move(options)) {}
  host::Phone phone;
  bool isReady = false;
};

Phones::Phones(const std::string& serverURL, std::size_t inFlight)
    : application_(pellion::readApplication({}, nullptr, nullptr)),
      bundle_(std::filesystem::temp_directory_path() / ("pellion-fleet-bench-" + std::to_string(getpid()))),
      inFlight_(inFlight) {
  const Value file = Value::dictionary({{"SERVER_URL", serverURL},
                                        {"PORTAL_ID", "portal"},
                                        {"PROJECT_ID", "project"},
                                        {"APP_VERSION_ID", "A"},
                                        {"DEVICE_ID", "D"},
                                        {"BEARER_TOKEN", "bearer"},
                                        {"JWT_SECRET", "secret"},
                                        {"APP_META", Value::dictionary({{"os", "1"}, {"model", "bench"}})},
                                        {"APP_GROUP", "group"}});
  std::filesystem::create_directories(bundle_);
  services::writePropertyList(bundle_ / "PellionInfo.plist", file);
  configuration_ =
      std::make_shared<const services::Configuration>(services::configurationFrom(file, bundle_ / "PellionInfo.plist"));
}

Phones::~Phones() {
  phones_.clear();
  std::error_code ignored;
  std::filesystem::remove_all(bundle_, ignored);
}

void Phones::add(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    Member& member = *phones_.emplace_back(std::make_unique<Member>(
        network_, host::Phone::Options{.clock = host::Clock::Kind::realTime,
                                       .stores = std::make_shared<services::MemoryStores>(),
                                       .bundle = bundle_,
                                       .outcomes = [this](const auto&, const auto& outcome) { note(outcome); }}));
    member.phone.useConfiguration(configuration_);
    host::Process& process = member.phone.launch();
    process.mainQueue().onWork([this, &member] { wake(member); });
    const host::ProcessScope scope(process);
    pellion::startApplication(application_);
    process.mainQueue().runWhatIsDue();
  }
}

void Phones::registerAll() {
  const std::uint64_t end = sent_ + 2 * phones_.size();
  run([&] {
    if (sent_ % 2 != 0) ++sent_;  // tokens alone
    return sent_ < end;
  });
}

void Phones::sendFor(std::chrono::nanoseconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  run([&] { return std::chrono::steady_clock::now() < end; });
}

template <class Continues>
void Phones::run(Continues continues) {
  std::size_t running = 0;
  bool isSending = true;
  std::vector<Member*> ready;
  for (;;) {
    for (; running < inFlight_ && (isSending = isSending && continues()); ++running) {
      send(*phones_[sent_ / 2 % phones_.size()]);
    }
    if (running == 0) break;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return ended_ != 0 || !ready_.empty(); });
      running -= std::exchange(ended_, 0);
      ready.swap(ready_);
      for (Member* member : ready) member->isReady = false;
    }
    for (Member* member : ready) {
      const host::ProcessScope scope(*member->phone.process());
      member->phone.process()->mainQueue().runWhatIsDue();
    }
    ready.clear();
  }
}

void Phones::send(Member& member) {
  static const Value notification =
      Value::dictionary({{"aps", Value::dictionary({{"content-available", 1}})}, {"addInfo", R"({"pellionPnID":12})"}});
  const host::ProcessScope scope(*member.phone.process());
  const std::uint64_t number = sent_++;
  if (number % 2 == 0) {
    std::string token(32, '\xA5');
    for (std::size_t byte = 0; byte < 8; ++byte) token[byte] = static_cast<char>(number >> (8 * byte));
    const Value value = Value::bytes(token);
    host::deliverDeviceToken(&value);
  } else {
    host::deliverInBackground(notification);
  }
}

void Phones::note(const services::RequestOutcome& outcome) {
  const std::lock_guard lock(mutex_);
  ++(outcome.isJSON ? accepted_ : notAccepted_);
  if (ended_++ == 0) changed_.notify_one();
}

void Phones::wake(Member& member) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(member.isReady, true)) return;
  ready_.push_back(&member);
  if (ready_.size() == 1) changed_.notify_one();
}

}  // namespace bench

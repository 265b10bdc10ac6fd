// Sends a million notifications through one phone whose process never ends. The first notification with each payload
// and way sets the outcome that all later ones must repeat.

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "bench/soak/catalogue.h"
#include "bench/soak/phone.h"
#include "bench/soak/shop.h"
#include "bench/soak/soak.h"
#include "pellion/backend/backend.h"
#include "platform/json_serialization.h"
#include "platform/user_defaults.h"
#include "platform/user_notifications.h"
#include "services/url_loading/network.h"
#include "tests/support/offline_session.h"

namespace soak {
namespace {

using platform::Value;

constexpr std::size_t tenths = 10;
constexpr std::size_t betweenOtherEvents = 500;
constexpr std::ptrdiff_t freshIDs = 10'000;
constexpr std::ptrdiff_t largestIDRecord = 128;  // bytes

constexpr std::array<const char*, 6> ways{"foreground", "background", "tap", "dismissal", "button", "unknown button"};

void deliver(const Value& payload, std::size_t way) {
  switch (way) {
    case 0: return host::deliverInForeground(payload);
    case 1: return host::deliverInBackground(payload);
    case 2: return host::deliverResponse(payload, platform::UNNotificationDefaultActionIdentifier);
    case 3: return host::deliverResponse(payload, platform::UNNotificationDismissActionIdentifier);
    case 4: return host::deliverResponse(payload, "open");
    default: return host::deliverResponse(payload, "no such button");
  }
}

Value decoded(const std::string& text) {
  return platform::JSONSerialization::JSONObjectWithData(
             {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, nullptr)
      .value();
}

class Notifications {
 public:
  explicit Notifications(const Options& options) : options_(options) {
    phone_.launch();
    phone_.run([&] { catalogue_ = payloadCatalogue(options_.examples); });
    for (const PayloadKind& kind : catalogue_) {
      std::printf("  %4zu payloads %s\n", kind.texts.size(), kind.name.c_str());
      for (const std::string& text : kind.texts) payloads_.push_back(&text);
    }
    firstOutcomes_.resize(payloads_.size() * ways.size());
    std::printf("  each in %zu ways, one of %zu over HTTP\n", ways.size(), options_.overHTTP);
  }

  std::vector<Promise> soak() {
    std::printf("  %12s %13s %13s %11s %7s %14s\n", "notifications", "resident KiB", "allocated KiB", "descriptors",
                "threads", "a second");
    std::optional<Usage> first;
    Usage last{};
    for (std::size_t tenth = 1; tenth <= tenths; ++tenth) {
      const auto start = std::chrono::steady_clock::now();
      const std::size_t playedBefore = played_;
      while (played_ * tenths < options_.notifications * tenth) playNext();
      const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
      last = Usage::now();
      if (!first) first = last;
      std::printf("  %12zu %13zu %13zu %11zu %7zu %14.0f\n", played_, last.residentKiB, last.heapKiB, last.descriptors,
                  last.threads, static_cast<double>(played_ - playedBefore) / taken.count());
      std::fflush(stdout);
    }
    std::vector<Promise> promises = promiseLevelMemory(*first, last);
    if (!promises.empty()) promises.push_back(promiseSmallIDRecord());
    promises.push_back(
        {"each does what the first of its payload and way did",
         differing_.empty() ? std::to_string(sent_) + " requests, " + std::to_string(raised_) + " raised" : differing_,
         differing_.empty()});
    return promises;
  }

 private:
  void playNext() {
    const std::size_t place = played_ % firstOutcomes_.size();
    const bool overHTTP = (played_ + played_ / firstOutcomes_.size()) % options_.overHTTP == 0;
    if (++played_ % betweenOtherEvents == 0) playOtherEvents(played_ / betweenOtherEvents);
    Outcome& outcome = phone_.outcome();
    outcome.clear();
    answerInPlace(!overHTTP);
    phone_.run([&] { deliver(decoded(*payloads_[place / ways.size()]), place % ways.size()); });
    sent_ += static_cast<std::size_t>(outcome.requests);
    raised_ += outcome.raised.empty() ? 0 : 1;
    std::string came = outcome.text();
    if (firstOutcomes_[place].empty()) {
      firstOutcomes_[place] = std::move(came);
    } else if (firstOutcomes_[place] != came && differing_.empty()) {
      differing_ = "notification " + std::to_string(played_) + ", " + ways[place % ways.size()] + ": " + came +
                   "; the first: " + firstOutcomes_[place];
    }
  }

  /// The module makes a session for each request.
  void answerInPlace(bool inPlace) {
    const auto acceptingSession = [this] {
      ++phone_.outcome().requests;
      return std::make_shared<test::OfflineSession>();
    };
    phone_->process()->setSessionFactory(inPlace ? host::Process::SessionFactory(acceptingSession) : nullptr);
  }

  /// Plays the other events in the life of an application.
  void playOtherEvents(std::size_t number) {
    phone_.run([&] {
      const Value token = Value::bytes(std::to_string(number % 7));
      host::deliverDeviceToken(&token);
      host::announceEngagement(Value::dictionary({{"action", "event"}, {"name", "shop_purchase"}}));
      number % 2 == 0 ? answerNotificationsAs<ShopNotifications>() : answerNotificationsAs<MemberNotifications>();
      setBadge(static_cast<std::int64_t>(number % 100));
      host::becomeActive();
      phone_->announceTrackingStatus();
    });
    phone_->runExtension([] {
      platform::UserDefaults::initWithSuiteName("group.example.shop")
          ->setObject(Value::list({Value::dictionary({{"notificationid", 1}})}), "pellionDidReceivePushNotification");
    });
    phone_.run([&] { phone_->process()->mainQueue().advance(std::chrono::seconds(3)); });
  }

  /// The module keeps the id of each notification as long as the process lives: once, however often it arrives.
  Promise promiseSmallIDRecord() {
    answerInPlace(true);
    const Usage before = Usage::now();
    for (std::ptrdiff_t i = 0; i < freshIDs; ++i) {
      const std::string info = R"({"pellionPnID":)" + std::to_string(1'000'000 + i) + "}";
      phone_.run([&] { host::deliverInForeground(Value::dictionary({{"addInfo", info}})); });
    }
    const auto grown = static_cast<std::ptrdiff_t>(Usage::now().heapKiB - before.heapKiB);
    const std::ptrdiff_t bytes = grown * 1024 / freshIDs;
    return {"the record of ids seen: at most 128 bytes for each different one", std::to_string(bytes) + " bytes",
            bytes <= largestIDRecord};
  }

  const Options& options_;
  pellion::Backend backend_{{.secret = "example-secret", .keepsRequests = false}};
  services::Network network_;
  SoakPhone phone_{network_, backend_.url()};
  std::vector<PayloadKind> catalogue_;
  std::vector<const std::string*> payloads_;
  std::vector<std::string> firstOutcomes_;
  std::string differing_;
  std::size_t played_ = 0;
  std::size_t sent_ = 0;
  std::size_t raised_ = 0;
};

}  // namespace

std::vector<Promise> soakNotifications(const Options& options) {
  std::printf("%zu notifications through one phone\n", options.notifications);
  const Usage before = Usage::now();
  std::vector<Promise> promises = std::make_unique<Notifications>(options)->soak();
  for (Promise& promise : promiseNothingLeft(before)) promises.push_back(std::move(promise));
  return promises;
}

}  // namespace soak

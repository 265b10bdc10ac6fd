// Runs a thousand phones in one program: launched, used, ended in the middle of requests, launched again, destroyed.
// Ten live at the same time and share a network; the network and the backend are destroyed with each group of ten.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "bench/soak/phone.h"
#include "bench/soak/shop.h"
#include "bench/soak/soak.h"
#include "pellion/backend/backend.h"
#include "platform/user_notifications.h"
#include "services/url_loading/network.h"

namespace soak {
namespace {

using platform::Value;

constexpr std::size_t together = 10;
const std::vector<std::string> storedFiles{"bundle/PellionInfo.plist", "groups/group.example.shop.sqlite",
                                           "keychain.sqlite"};

std::vector<std::string> filesBelow(const std::filesystem::path& directory) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (!entry.is_directory()) files.push_back(entry.path().lexically_relative(directory).string());
  }
  std::ranges::sort(files);
  return files;
}

/// Plays a whole life, except that it ends before the answer to its last request. Returns the number of the others: the
/// last one may or may not reach the network.
int use(SoakPhone& phone) {
  phone.outcome().clear();
  const Value token = Value::bytes("\x0a\xff");
  const Value payload = Value::dictionary(
      {{"addInfo", R"({"pellionPnID":12,"clickAction":"shop://sale","conversion":{"event":"e","group":"g"}})"}});
  phone.run([&] { host::deliverDeviceToken(&token); });
  phone.run([&] { host::deliverInForeground(payload); });
  phone.run([&] { host::deliverResponse(payload, platform::UNNotificationDefaultActionIdentifier); });
  phone.run([&] { host::announceEngagement(Value::dictionary({{"action", "event"}, {"name", "g_e"}})); });
  phone.run([] { setBadge(3); });
  phone.run([] { answerNotificationsAs<MemberNotifications>(); });
  const int requests = phone.outcome().requests;
  phone.run([&] { host::deliverInBackground(payload); }, false);
  return requests;
}

class Phones {
 public:
  explicit Phones(std::size_t count) : count_(count) {}

  std::vector<Promise> soak() {
    std::printf("%zu phones, %zu at a time\n", count_, together);
    const Usage before = Usage::now();
    std::optional<Usage> first;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t lived = 0; lived < count_;) {
      const std::size_t batch = std::min(together, count_ - lived);
      liveTogether(batch);
      lived += batch;
      if (!first && lived * 10 >= count_) first = Usage::now();
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const Usage last = Usage::now();
    std::printf("  two launches each, %.0f phones a second\n", static_cast<double>(count_) / taken.count());
    std::vector<Promise> promises = promiseLevelMemory(*first, last);
    for (Promise& promise : promiseNothingLeft(before)) promises.push_back(std::move(promise));
    promises.push_back({"each sends what the first sent", std::to_string(requests_) + " requests", isRequestsEven_});
    promises.push_back(
        {"a phone's directory holds its stores alone", strange_.empty() ? "3 files" : strange_, strange_.empty()});
    return promises;
  }

 private:
  void liveTogether(std::size_t count) {
    pellion::Backend backend({.secret = "example-secret", .keepsRequests = false});
    services::Network network;
    std::vector<std::unique_ptr<SoakPhone>> phones;
    for (std::size_t i = 0; i < count; ++i) {
      phones.push_back(std::make_unique<SoakPhone>(network, backend.url()));
    }
    for (int& first : firstRequests_) {
      for (const auto& phone : phones) phone->launch();
      for (const auto& phone : phones) {
        const int requests = use(*phone);
        requests_ += static_cast<std::size_t>(requests);
        if (first == 0) first = requests;
        isRequestsEven_ = isRequestsEven_ && requests == first;
      }
      for (const auto& phone : phones) (*phone)->terminate();
    }
    for (const auto& phone : phones) {
      const std::vector<std::string> files = filesBelow(phone->storage());
      for (const std::string& file : files) {
        if (std::ranges::find(storedFiles, file) == storedFiles.end()) strange_ = file;
      }
      if (files.size() != storedFiles.size() && strange_.empty()) strange_ = "one is missing";
    }
  }

  std::size_t count_;
  std::size_t requests_ = 0;
  std::array<int, 2> firstRequests_{};  // in each launch
  bool isRequestsEven_ = true;
  std::string strange_;
};

}  // namespace

std::vector<Promise> soakPhones(const Options& options) { return Phones(options.phones).soak(); }

}  // namespace soak

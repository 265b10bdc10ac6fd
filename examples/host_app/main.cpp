// Plays a short day on a simulated phone with the shop on it, its user, and a backend. The phone calls the
// application's delegates and nothing else. Ends with 1 when the day does not go as expected.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/phone/phone.h"
#include "host/phone/system_events.h"
#include "pellion/backend/backend.h"
#include "platform/user_defaults.h"
#include "services/url_loading/network.h"
#include "shop_application.h"

namespace {

using platform::Value;

constexpr const char* appGroup = "group.example.shop";

constexpr const char* expected[] = {
    "backend: token 0aff0042 of device-1",
    "phone: receives the fetch result new data",
    "backend: notification 41 delivered",
    "phone: shows a banner",
    "backend: notification 42 delivered",
    "phone: receives the completion of the response",
    "phone: opens shop://sale",
    "backend: notification 42 responded",
    "phone: shows badge 3",
    "phone: receives the completion of the response",
    "phone: opens shop://orders",
    "backend: notification 43 responded",
    "extension: finds badge 3",
};

Value notification(const char* alert, const char* addInfo) {
  return Value::dictionary({{"aps", Value::dictionary({{"alert", alert}})}, {"addInfo", addInfo}});
}

/// Null for absent.
const Value& at(const Value& dictionary, std::string_view key) {
  static const Value null;
  const Value* value = dictionary.find(key);
  return value != nullptr ? *value : null;
}

std::string textAt(const Value& dictionary, std::string_view key) { return at(dictionary, key).description(); }

/// A request: a device token, or what happened to a notification.
std::string textOf(const pellion::ReceivedRequest& request) {
  if (const std::string* token = request.findHeader("notificationid")) {
    const std::string* device = request.findQueryItem("deviceid");
    return "token " + *token + " of " + (device != nullptr ? *device : "no device");
  }
  const Value body = request.decodedBody ? request.decodedBody->json.value_or(Value()) : Value();
  std::string text;
  for (const Value& entry : at(body, "pnstats").elements()) {
    const std::string status = textAt(entry, "status");
    text += "notification " + textAt(entry, "notificationid") + ' ' +
            (status == "4"   ? "delivered"
             : status == "5" ? "responded"
                             : "in status " + status);
  }
  return text.empty() ? request.method + ' ' + request.target : text;
}

/// What the phone does, and what the application returns to it.
std::string textOf(const host::Event& event) {
  const auto detail = [&](const char* key) { return textAt(event.details, key); };
  if (event.what == "fetched")
    return detail("result") == "0" ? "receives the fetch result new data" : "receives another fetch result";
  if (event.what == "presents") return detail("options") == "16" ? "shows a banner" : "shows no banner";
  if (event.what == "response completed") return "receives the completion of the response";
  if (event.what == "opened URL") return "opens " + detail("url");
  if (event.what == "set badge") return "shows badge " + detail("number");
  return std::string(event.what);
}

/// The phone's storage for one day.
class Storage {
 public:
  Storage() {
    std::string name = std::filesystem::temp_directory_path() / "host_app.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
  }
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage() {
    std::error_code ignored;  // files that cannot be removed stay in the temporary directory
    std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

class Day {
 public:
  Day() {
    phone_.configure(Value::dictionary({{"SERVER_URL", backend_.url()},
                                        {"PORTAL_ID", "portal-1"},
                                        {"PROJECT_ID", "project-1"},
                                        {"APP_VERSION_ID", "version-1"},
                                        {"DEVICE_ID", "device-1"},
                                        {"BEARER_TOKEN", "example-bearer-token"},
                                        {"JWT_SECRET", "example-secret"},
                                        {"APP_META", Value::dictionary({{"name", "Shop"}, {"version", "4.2"}})},
                                        {"APP_GROUP", appGroup}}));
    phone_.launch();
  }

  /// Runs an event and all that it leads to, requests included.
  void happens(std::string_view what, const std::function<void()>& work) {
    std::cout << what << '\n';
    const host::ProcessScope scope(*phone_.process());
    work();
    phone_.process()->mainQueue().runUntilIdle();
    for (const pellion::ReceivedRequest& request : backend_.takeRequests()) came("backend", textOf(request));
  }

  /// Another process reads what the application shares with it.
  void lookFromExtension() {
    phone_.runExtension([this] {
      const auto badge = platform::UserDefaults::initWithSuiteName(appGroup)->objectForKey("pellionBadgeCount");
      came("extension", "finds badge " + (badge ? badge->description() : "(none)"));
    });
  }

  /// Prints where the day first differed from the expectation.
  [[nodiscard]] bool isAsExpected() const {
    const auto [found, wanted] = std::ranges::mismatch(came_, expected);
    if (found == came_.end() && wanted == std::end(expected)) return true;
    std::cerr << "wanted: " << (wanted == std::end(expected) ? "nothing more" : *wanted) << '\n'
              << "found:  " << (found == came_.end() ? "nothing more" : *found) << '\n';
    return false;
  }

 private:
  void came(std::string_view actor, const std::string& what) {
    std::cout << "  " << std::left << std::setw(11) << actor << what << '\n';
    came_.push_back(std::string(actor) + ": " + what);
  }

  // Events of the platform arrive on the main thread, the others on any thread.
  void receive(const host::Event& event) {
    if (event.actor == "platform") came("phone", textOf(event));
  }

  std::vector<std::string> came_;
  services::Network network_;
  pellion::Backend backend_{{.secret = "example-secret"}};
  Storage storage_;
  host::Phone phone_{
      network_, {.storage = storage_.path(), .urlSchemes = {.own = {"shop"}}, .sink = [this](const host::Event& e) {
                   receive(e);
                 }}};
};

bool playDay() {
  const Value catalogue = notification("New in the catalogue", R"({"pellionPnID": 41})");
  const Value sale = notification("Only today: half price", R"({"pellionPnID": 42, "clickAction": "shop://sale"})");
  const Value parcel = notification("Your parcel is here", R"({"pellionPnID": 43, "clickAction": "shop://orders"})");
  const Value tap = platform::UNNotificationDefaultActionIdentifier;
  const Value token = Value::bytes(std::string_view("\x0A\xFF\x00\x42", 4));

  Day day;
  ShopApplication* shop = nullptr;
  day.happens("The phone starts the shop.", [&] {
    const platform::Strong delegate = platform::makeObject<ShopApplication>();
    shop = &platform::objectState<ShopApplication>(delegate.get());
    host::startApplication(delegate);
  });
  day.happens("It delivers the device token.", [&] { host::deliverDeviceToken(&token); });
  day.happens("A notification wakes the shop up in the background.", [&] { host::deliverInBackground(catalogue); });
  day.happens("Another arrives while the shop is open.", [&] { host::deliverInForeground(sale); });
  day.happens("The user taps it.", [&] { host::deliverResponse(sale, tap); });
  day.happens("The user puts three things into the basket,", [&] { shop->fillBasket(3); });
  day.happens("signs in,", [&] { shop->signIn(); });
  day.happens("and taps a third notification.", [&] { host::deliverResponse(parcel, tap); });
  std::cout << "Finally the notification extension reads the shared store.\n";
  day.lookFromExtension();
  return day.isAsExpected();
}

}  // namespace

int main() {
  try {
    return playDay() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}

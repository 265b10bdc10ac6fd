// Soaks the module over the Objective-C runtime: sends notifications to an application in Objective-C, whose requests
// go to the local backend over HTTP. Prints the resources that it holds as it goes, then each promise with its measured
// value. Ends with status 1 when a promise is broken, 2 for unknown options.

#include <malloc.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/number.h"
#include "bench/soak/catalogue.h"
#include "bench/soak/objc/application.h"
#include "bench/soak/objc/live_objects.h"
#include "bench/soak/usage.h"
#include "foundation/objc/guarded.h"
#include "messaging/PLMessaging.h"
#include "pellion/backend/backend.h"
#include "platform/dispatch.h"
#include "platform/exception.h"
#include "platform/json_serialization.h"
#include "platform/reference.h"
#include "platform/user_notifications.h"
#include "platform/value.h"
#include "tests/support/foundation/core_library.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::Value;
using soak::Promise;
using soak::Usage;

constexpr std::size_t tenths = 10;
constexpr std::size_t betweenOtherEvents = 500;
constexpr std::size_t mostInFlight = 64;
constexpr int objectTolerance = 256;  // log lines that threads make meanwhile: far below one for each notification

constexpr std::array<const char*, 6> ways{"foreground", "background", "tap", "dismissal", "button", "unknown button"};

void deliver(id userInfo, std::size_t way) {
  const auto respond = [userInfo](const char* action) {
    shop_deliverResponse(userInfo, platform::boxed(Value(action)));
  };
  switch (way) {
    case 0: return shop_deliverInForeground(userInfo);
    case 1: return shop_deliverInBackground(userInfo);
    case 2: return respond(platform::UNNotificationDefaultActionIdentifier);
    case 3: return respond(platform::UNNotificationDismissActionIdentifier);
    case 4: return respond("open");
    default: return respond("no such button");
  }
}

Value decoded(const std::string& text) {
  return platform::JSONSerialization::JSONObjectWithData(
             {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, nullptr)
      .value();
}

/// The application, and what it receives.
class Shop {
 public:
  Shop() {
    const std::string file = directory_.path() / "PellionInfo.plist";
    std::ofstream(file) << R"(<plist version="1.0"><dict><key>SERVER_URL</key><string>)" << backend_.url()
                        << "</string></dict></plist>";
    test::installCoreLibrary(file);
    shop_launch();
    PLMessaging::startService();
    shop_replaceCenterDelegate();  // by one of the class that all later ones have
    soak_discardURLWarnings();
  }

  /// Returns what the application received and the system was asked for; what the module raised, too.
  template <class Work>
  std::string run(Work work) {
    const platform::AutoreleasePool pool;
    std::string came;
    try {
      foundation::guarded(work);
    } catch (const platform::Exception& exception) {
      came = "raised " + exception.name() + "; ";
      ++raised_;
    }
    countLog();
    return came + textOf(shop_takeEvents());
  }

  /// Runs the main thread's run loop until every request is answered and all that was to follow has been done, and
  /// discards those events.
  void settle() {
    const platform::AutoreleasePool pool;
    isTurned_ = false;
    platform::dispatchAsyncOnMainQueue([this] { isTurned_ = true; });
    const auto isOver = [](void* self) { return static_cast<Shop*>(self)->isIdle(); };
    if (!shop_runUntil(isOver, this)) throw std::runtime_error("a request is not answered within ten seconds");
    shop_takeEvents();
  }

  [[nodiscard]] std::size_t sent() const { return sent_; }
  [[nodiscard]] std::size_t raised() const { return raised_; }
  [[nodiscard]] std::size_t inFlight() const { return sent_ - answered_; }

 private:
  static std::string textOf(id events) { return platform::unboxed(events)->description(); }
  bool isIdle() {
    countLog();
    return inFlight() == 0 && isTurned_;
  }
  void countLog() {
    for (const test::LoggedLine& line : test::takeLoggedLines()) {
      if (line.text.starts_with("Request made -> ")) ++sent_;
      if (line.text.starts_with("Response received -> ")) ++answered_;
    }
    test::takePayloads();
  }

  test::TemporaryDirectory directory_;
  pellion::Backend backend_{{.keepsRequests = false}};
  bool isTurned_ = false;
  std::size_t sent_ = 0;
  std::size_t answered_ = 0;
  std::size_t raised_ = 0;
};

class Notifications {
 public:
  explicit Notifications(std::size_t count) : count_(count) {
    for (const soak::PayloadKind& kind : soak::payloadCatalogue(PELLION_SOURCE_DIR "/examples/payloads")) {
      payloads_.insert(payloads_.end(), kind.texts.begin(), kind.texts.end());
    }
    firstOutcomes_.resize(payloads_.size() * ways.size());
    std::printf("%zu notifications to an application in Objective-C: %zu payloads, each in %zu ways\n", count_,
                payloads_.size(), ways.size());
  }

  std::vector<Promise> soak() {
    std::printf("  %12s %13s %13s %11s %7s %14s\n", "notifications", "resident KiB", "allocated KiB", "descriptors",
                "threads", "a second");
    soak_watchObjects();
    const std::size_t warmUp = 2 * firstOutcomes_.size();  // Foundation keeps what it has made once
    while (played_ < warmUp) playNext();
    std::optional<Usage> first;
    Usage last{};
    for (std::size_t tenth = 1; tenth <= tenths; ++tenth) {
      const auto start = std::chrono::steady_clock::now();
      const std::size_t playedBefore = played_;
      while ((played_ - warmUp) * tenths < count_ * tenth) playNext();
      shop_.settle();
      const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
      last = Usage::now();
      if (!first) {
        first = last;
        soak_rememberObjects();
      }
      std::printf("  %12zu %13zu %13zu %11zu %7zu %14.0f\n", played_, last.residentKiB, last.heapKiB, last.descriptors,
                  last.threads, static_cast<double>(played_ - playedBefore) / taken.count());
      std::fflush(stdout);
    }
    std::vector<Promise> promises = promiseLevelMemory(*first, last);
    promises.push_back(promiseNoNewObjects());
    promises.push_back({"each does what the first of its payload and way did",
                        differing_.empty()
                            ? std::to_string(shop_.sent()) + " requests, " + std::to_string(shop_.raised()) + " raised"
                            : differing_,
                        differing_.empty()});
    return promises;
  }

 private:
  void playNext() {
    const std::size_t place = played_++ % firstOutcomes_.size();
    const std::size_t way = place % ways.size();
    std::string came = shop_.run([&] { deliver(platform::boxed(decoded(payloads_[place / ways.size()])), way); });
    if (firstOutcomes_[place].empty()) {
      firstOutcomes_[place] = std::move(came);
    } else if (firstOutcomes_[place] != came && differing_.empty()) {
      differing_ = "notification " + std::to_string(played_) + ", " + ways[way] + ": " + came +
                   "; the first: " + firstOutcomes_[place];
    }
    if (played_ % betweenOtherEvents == 0) playOtherEvents(played_ / betweenOtherEvents);
    if (shop_.inFlight() >= mostInFlight || played_ % betweenOtherEvents == 0) shop_.settle();
  }

  /// Plays the other events in the life of an application.
  void playOtherEvents(std::size_t number) {
    shop_.run([&] {
      shop_deliverToken(platform::boxed(Value::bytes(std::to_string(number % 7 + 1))));
      shop_announce(platform::boxed(Value::dictionary({{"action", "event"}, {"name", "shop_purchase"}})));
      shop_setBadges(static_cast<int>(number % 100), static_cast<int>(number % 50));
      shop_replaceCenterDelegate();
    });
  }

  static Promise promiseNoNewObjects() {
    const char* name = nullptr;
    const int most = soak_mostNewObjects(&name);
    return {"objects of one class: at most 256 more than after the first tenth",
            std::to_string(most) + (most > 0 ? std::string(" of ") + name : ""), most <= objectTolerance};
  }

  std::size_t count_;
  Shop shop_;
  std::vector<std::string> payloads_;
  std::vector<std::string> firstOutcomes_;
  std::string differing_;
  std::size_t played_ = 0;
};

std::size_t countFrom(int argc, char** argv) {
  if (argc == 1) return 1'000'000;
  if (std::string_view(argv[1]) != "--notifications" || argc > 3) {
    throw std::invalid_argument(std::string(argv[1]) + " is not an option; the option is --notifications N");
  }
  return bench::numberFrom<std::size_t>("--notifications", argc == 3 ? argv[2] : "", tenths);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    mallopt(M_ARENA_MAX, 1);  // otherwise the count of allocated memory is that of the main thread alone
    const platform::AutoreleasePool pool;
    const std::size_t count = countFrom(argc, argv);
    const auto notifications = std::make_unique<Notifications>(count);
    return soak::print(notifications->soak()) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}

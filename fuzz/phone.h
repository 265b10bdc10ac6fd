#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/target.h"
#include "host/phone/system_events.h"
#include "host/phone/ui_application.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "services/url_loading/network.h"
#include "tests/messaging/messaging_phone.h"

namespace fuzz {

/// The events on a phone.
struct Happenings {
  std::vector<platform::Value> uploads = {};  ///< the statistics of each request, whatever they are
  std::vector<platform::Value> sent = {};     ///< statistics entries: the elements of those uploads that are lists
  std::vector<std::string> opened = {};       ///< URLs, including those that the platform refuses
  std::vector<std::string> problems = {};     ///< reported by the stores
  std::vector<platform::Value> results = {};  ///< fetch results and presentation options that the platform received
  int callbacks = 0;                          ///< callbacks that the application itself received
  int completed = 0;                          ///< responses whose completion handler was called
  int synchronized = 0;                       ///< requests to write the shared store
  bool raised = false;                        ///< the platform's exception
};

/// Both delegates of an application: receives every callback and answers at once.
class Delegate {
 public:
  explicit Delegate(Happenings* happenings) : happenings_(happenings) {}

  static constexpr const char* className = "Delegate";
  static void defineClass(platform::ClassFace<Delegate>& face) {
    face.conformsTo("UIApplicationDelegate")
        .conformsTo("UNUserNotificationCenterDelegate")
        .method<&Delegate::didReceive>("application:didReceiveRemoteNotification:fetchCompletionHandler:")
        .method<&Delegate::willPresent>("userNotificationCenter:willPresentNotification:withCompletionHandler:")
        .method<&Delegate::didRespond>("userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:");
  }

 private:
  void didReceive(id, id, platform::BlockPtr<void(platform::UIBackgroundFetchResult)> handler) {
    ++happenings_->callbacks;
    platform::invoke(handler, platform::UIBackgroundFetchResultNewData);
  }
  void willPresent(id, id, host::PresentationHandler handler) {
    ++happenings_->callbacks;
    platform::invoke(handler, platform::UNNotificationPresentationOptionBanner);
  }
  void didRespond(id, id, platform::BlockPtr<void()> handler) {
    ++happenings_->callbacks;
    platform::invoke(handler);
  }

  Happenings* happenings_;
};

/// A phone with an application that has started the service. If it has no server URL, its requests are accepted without
/// a server.
class Phone {
 public:
  explicit Phone(const std::string& serverURL = {})
      : isOffline_(serverURL.empty()),
        phone_(network_, {.storage = directory_.path(),
                          .sink = [this](const host::Event& event) { note(event); },
                          .listensToLog = true}) {
    phone_.configure(test::configuration(isOffline_ ? "http://127.0.0.1:1" : serverURL,
                                         {{"APP_META", test::json(R"({"os":"fuzz"})")}, {"APP_GROUP", appGroup}}));
    launch();
  }

  /// Starts the application again: it loses everything that it remembers.
  void launch() {
    host::Process& process = phone_.launch();
    library_ = std::make_shared<test::RecordingCoreLibrary>(process, phone_.configurationPath(), phone_.keychain());
    process.setCoreLibrary(library_);
    if (isOffline_) process.setSessionFactory([] { return std::make_shared<test::OfflineSession>(); });
    const host::ProcessScope scope(process);
    const platform::Strong delegate = platform::makeObject<Delegate>(&happenings_);
    host::startApplication(delegate);
    platform::send<void(id)>(host::currentNotificationCenter(), sel_registerName("setDelegate:"), delegate.get());
    PLMessaging::startService();
  }

  /// What happens while `work` runs on the main thread, and what it leads to until `passing` has elapsed.
  template <class Work>
  Happenings observe(Work work, std::chrono::seconds passing = {}) {
    happenings_ = {};
    const host::ProcessScope scope(*phone_.process());
    try {
      work();
      phone_.process()->mainQueue().advance(passing);
    } catch (const platform::Exception& exception) {
      require(!exception.name().empty() && !exception.reason().empty(), "an exception has a name and a reason");
      happenings_.raised = true;
    }
    phone_.process()->mainQueue().runUntilIdle();
    for (const platform::Value& payload : std::exchange(library_->payloads, {})) {
      happenings_.uploads.push_back(*payload.find("pnstats"));
      const std::span<const platform::Value> entries = happenings_.uploads.back().elements();
      happenings_.sent.insert(happenings_.sent.end(), entries.begin(), entries.end());
    }
    return std::move(happenings_);
  }

  host::Phone* operator->() { return &phone_; }

  static constexpr const char* appGroup = "group.fuzz";

 private:
  void note(const host::Event& event) {
    const std::lock_guard lock(mutex_);
    const auto detail = [&](const char* key) { return *event.details.find(key); };
    if (event.what == "opened URL" || event.what == "refused URL") {
      happenings_.opened.emplace_back(detail("url").text());
    } else if (event.what == "failed" && event.details.find("problem") != nullptr) {
      happenings_.problems.emplace_back(detail("problem").text());
    } else if (event.what == "fetched") {
      happenings_.results.push_back(detail("result"));
    } else if (event.what == "presents") {
      happenings_.results.push_back(detail("options"));
    } else if (event.what == "response completed") {
      ++happenings_.completed;
    } else if (event.what == "synchronized") {
      ++happenings_.synchronized;
    }
  }

  test::TemporaryDirectory directory_;
  const bool isOffline_;
  services::Network network_;
  std::mutex mutex_;
  Happenings happenings_;
  host::Phone phone_;
  std::shared_ptr<test::RecordingCoreLibrary> library_;
};

}  // namespace fuzz

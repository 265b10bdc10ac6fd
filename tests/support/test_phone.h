#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/phone/phone.h"
#include "services/url_loading/network.h"
#include "tests/support/log_line.h"
#include "tests/support/temporary_directory.h"

namespace test {

/// A configuration with every entry that a request shows, and with `overrides`; a null value removes its key.
inline platform::Value configuration(const std::string& serverURL, std::vector<platform::Value::Entry> overrides = {}) {
  std::vector<platform::Value::Entry> entries{
      {"SERVER_URL", serverURL}, {"PORTAL_ID", "portal"},    {"PROJECT_ID", "project"}, {"MAP_ID", "map"},
      {"AP_ID", "ap"},           {"APP_VERSION_ID", "A"},    {"FRAMEWORK_ID", "F"},     {"DEVICE_ID", "D"},
      {"ANONYMOUS_ID", "ANON"},  {"BEARER_TOKEN", "bearer"}, {"JWT_SECRET", "secret"},
  };
  std::erase_if(entries, [&](const platform::Value::Entry& entry) {
    return std::ranges::any_of(overrides, [&](const auto& override_) { return override_.key == entry.key; });
  });
  std::erase_if(overrides, [](const platform::Value::Entry& entry) { return entry.value.isNull(); });
  entries.insert(entries.end(), overrides.begin(), overrides.end());
  return platform::Value::dictionary(entries);
}

/// A phone in a temporary directory that remembers its events.
class TestPhone {
 public:
  /// Uses `storage`, which another phone may have used before; by default a new directory.
  explicit TestPhone(const platform::Value& configuration, const std::filesystem::path& storage = {})
      : phone_(network_,
               {.storage = storage.empty() ? ownDirectory_.path() : storage,
                .urlSchemes = {.own = {"own"}, .queried = {"asked", "missing"}, .installed = {"asked", "other"}},
                .sink = [this](const host::Event& event) { remember(event); },
                .listensToLog = true}) {
    phone_.configure(configuration);
    phone_.launch();
  }

  host::Phone* operator->() { return &phone_; }

  /// Runs `work` on the phone's main thread, then turns the main queue until nothing is left to do.
  template <class Work>
  void run(Work work) {
    const host::ProcessScope scope(*phone_.process());
    work();
    phone_.process()->mainQueue().runUntilIdle();
  }

  /// The texts of the log lines since the last call.
  std::vector<std::string> takeLog() {
    std::vector<std::string> lines;
    for (const platform::Value& details : take("log")) lines.emplace_back(details.find("text")->text());
    return lines;
  }
  /// The same with channel and method: "verbose +[Class method]: text".
  std::vector<std::string> takeLines() { return lines(take("log")); }
  /// The same, with the calls of the core library (see RecordingCoreLibrary) and what was opened and stored.
  std::vector<std::string> takeTrace() { return lines(take("log", "asked", "opened URL", "stored")); }
  /// The details of the events of these kinds since the last call.
  template <class... Kinds>
  std::vector<platform::Value> take(Kinds... kinds) {
    const std::lock_guard lock(mutex_);
    std::vector<platform::Value> found;
    std::erase_if(events_, [&](const auto& event) {
      const bool isTaken = ((event.first == kinds) || ...);
      if (isTaken) found.push_back(event.second);
      return isTaken;
    });
    return found;
  }

 private:
  static std::vector<std::string> lines(const std::vector<platform::Value>& events) {
    std::vector<std::string> lines;
    for (const platform::Value& details : events) {
      const auto part = [&](const char* key) { return details.find(key)->text(); };
      const auto has = [&](const char* key) { return details.find(key) != nullptr; };
      std::string line = has("url")   ? platform::format("opens %@", {part("url")})
                         : has("key") ? platform::format("stores %@", {part("key")})
                                      : std::string(part("text"));
      if (has("tag")) line = logLine(part("tag"), part("function"), part("marker"), line);
      lines.push_back(std::move(line));
    }
    return lines;
  }
  void remember(const host::Event& event) {
    const std::lock_guard lock(mutex_);
    events_.emplace_back(event.what, event.details);
  }

  TemporaryDirectory ownDirectory_;
  std::mutex mutex_;
  std::vector<std::pair<std::string, platform::Value>> events_;
  services::Network network_;
  host::Phone phone_;
};

}  // namespace test

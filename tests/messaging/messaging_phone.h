#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "tests/support/recording_phone.h"

namespace test {

/// A phone whose requests are accepted without a network; their contents are recorded.
class MessagingPhone : public RecordingPhone {
 public:
  explicit MessagingPhone(const std::vector<platform::Value::Entry>& overrides = {})
      : RecordingPhone(full(overrides)) {}

  /// The payloads sent since the last call, and the statistics entries in them.
  std::vector<platform::Value> takePayloads() { return std::exchange(coreLibrary().payloads, {}); }
  std::vector<platform::Value> takeEntries() {
    std::vector<platform::Value> entries;
    for (const platform::Value& sent : takePayloads()) {
      const std::span<const platform::Value> stats = sent.find("pnstats")->elements();
      entries.insert(entries.end(), stats.begin(), stats.end());
    }
    return entries;
  }

  void deliver(const platform::Value& payload) {
    run([&] { PLMessaging::shared().updateLogMsgIds(&payload); });
  }
  void respond(const platform::Value& payload, const platform::Value& action) {
    run([&] {
      PLMessaging::shared().appDidReceiveMessage(&payload, host::makeNotificationResponse(payload, action).get());
    });
  }

 private:
  static platform::Value full(std::vector<platform::Value::Entry> overrides) {
    for (const platform::Value::Entry& entry :
         {platform::Value::Entry{"APP_META", json(R"({"os":"test"})")}, {"APP_GROUP", "group.test"}}) {
      if (std::ranges::find(overrides, entry.key, &platform::Value::Entry::key) == overrides.end()) {
        overrides.push_back(entry);
      }
    }
    return configuration("http://127.0.0.1:1", std::move(overrides));
  }
};

}  // namespace test

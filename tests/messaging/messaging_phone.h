#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "platform/json_serialization.h"
#include "tests/support/accepting_session.h"
#include "tests/support/test_phone.h"

namespace test {

inline platform::ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline platform::Value json(std::string_view text) {
  platform::Error error;
  const auto value = platform::JSONSerialization::JSONObjectWithData(bytesOf(text), &error);
  if (!value) throw std::runtime_error(error.description() + " in " + std::string(text));
  return *value;
}

/// A payload that carries `addInfo` as text.
inline platform::Value payload(std::string_view addInfo) {
  return platform::Value::dictionary({{"aps", json(R"({"alert":"Hello"})")}, {"addInfo", addInfo}});
}

/// Remembers what it is asked to encode: the payloads that leave the module.
class RecordingCoreLibrary : public host::ReferenceCoreLibrary {
 public:
  using ReferenceCoreLibrary::ReferenceCoreLibrary;
  std::vector<platform::Value> payloads;

  std::optional<platform::Value> encodeWithJWT(const platform::Value& payload) override {
    payloads.push_back(payload);
    return platform::Value::bytes("body");
  }
};

/// A phone whose requests are accepted without a network; what they carry is kept.
class MessagingPhone : public TestPhone {
 public:
  explicit MessagingPhone(const std::vector<platform::Value::Entry>& overrides = {})
      : MessagingPhone(full(overrides)) {}

  /// The payloads sent since the last call, and the statistics entries in them.
  std::vector<platform::Value> takePayloads() { return std::exchange(library_->payloads, {}); }
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
  explicit MessagingPhone(const platform::Value& configuration) : TestPhone(configuration) {
    host::Process& process = *(*this)->process();
    library_ =
        std::make_shared<RecordingCoreLibrary>(process, (*this)->configurationPath().parent_path(), (*this)->keychain(),
                                               host::configurationFrom(configuration, (*this)->configurationPath()));
    process.setCoreLibrary(library_);
    process.setSessionFactory([] { return std::make_shared<AcceptingSession>(); });
  }
  static platform::Value full(std::vector<platform::Value::Entry> overrides) {
    for (const platform::Value::Entry& entry :
         {platform::Value::Entry{"APP_META", json(R"({"os":"test"})")}, {"APP_GROUP", "group.test"}}) {
      if (std::ranges::find(overrides, entry.key, &platform::Value::Entry::key) == overrides.end()) {
        overrides.push_back(entry);
      }
    }
    return configuration("http://127.0.0.1:1", std::move(overrides));
  }

  std::shared_ptr<RecordingCoreLibrary> library_;
};

}  // namespace test

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/json_serialization.h"
#include "tests/support/offline_session.h"
#include "tests/support/payloads.h"
#include "tests/support/test_phone.h"

namespace test {

inline std::string textOf(const platform::Value& bytes) { return {bytes.bytes().begin(), bytes.bytes().end()}; }

/// The host's core library. It reports each call in an event "asked", in order, and fails as a test wishes. What it
/// encodes shows the method: "dictionary", or "data: " and the compressed bytes, which begin with their level.
class RecordingCoreLibrary : public host::CoreLibrary {
  using Base = CoreLibrary;
  using Text = platform::OptionalString;

 public:
  RecordingCoreLibrary(host::Process& process, const std::filesystem::path& configuration,
                       services::ItemStore& keychain)
      : Base(process, configuration.parent_path(), keychain,
             std::make_shared<const services::Configuration>(services::readConfiguration(configuration))),
        process_(process) {}

  std::vector<platform::Value> payloads;  ///< the encoded ones
  bool answers = true;
  bool compresses = true;
  bool encodes = true;

  platform::PLAAAUtil& authentication(bool anonymous) override {
    return noted(anonymous ? "anonymous manager" : "device manager", anonymous ? anonymousUser_ : device_);
  }
  void processError(const platform::Value& json, platform::PLAAAUtil& manager) override {
    noted("processError " + textOf(platform::JSONSerialization::dataWithJSONObject(json)) +
          (&manager == &anonymousUser_ ? " anonymous"
           : &manager == &device_      ? " device"
                                       : " other"));
  }
  void newRegisterDevice(std::function<void(Text)> block) override {
    noted("newRegisterDevice");
    if (answers) Base::newRegisterDevice(std::move(block));
  }
  std::optional<platform::Value> gzip(const platform::Value& data, float level) override {
    noted("gzip");
    if (!compresses) return std::nullopt;
    return platform::Value::bytes(platform::format("%@ ", {platform::Value(level)}) + textOf(data));
  }
  std::optional<platform::Value> encodeWithJWT(const platform::Value& payload) override {
    noted("encodeWithJWT");
    payloads.push_back(payload);
    return encodes ? std::optional(platform::Value::bytes("dictionary")) : std::nullopt;
  }
  std::optional<platform::Value> encodeDataWithJWT(const platform::Value& bytes) override {
    return platform::Value::bytes("data: " + textOf(noted("encodeDataWithJWT", bytes)));
  }
  bool isAnonymousUser() override { return noted("isAnonymousUser", Base::isAnonymousUser()); }
  bool enableAnonymousTracking() override { return noted("enableAnonymousTracking", Base::enableAnonymousTracking()); }
  Text anonid() override { return noted("anonid", Base::anonid()); }
  Text appversionid() override { return noted("appversionid", Base::appversionid()); }
  Text frameworkid() override { return noted("frameworkid", Base::frameworkid()); }
  Text mapid() override { return noted("mapid", Base::mapid()); }
  Text apid() override { return noted("apid", Base::apid()); }
  Text portalid() override { return noted("portalid", Base::portalid()); }
  Text projectid() override { return noted("projectid", Base::projectid()); }
  platform::PLBundle& mainBundle() override { return noted<platform::PLBundle&>("getMainBundle", *this); }
  platform::PLJWTWrapper& jwtWrapper() override { return noted<platform::PLJWTWrapper&>("JWT encoder", *this); }
  Text getQvInfoFilePath() override { return noted("getQvInfoFilePath", Base::getQvInfoFilePath()); }
  Text extensionAppGroup() override { return noted("extensionAppGroup", Base::extensionAppGroup()); }
  bool enableGzip() override { return noted("enableGzip", Base::enableGzip()); }
  std::int64_t timeInLong() override { return noted("getTimeinLong", Base::timeInLong()); }

 private:
  /// Each manager has its own token.
  struct Manager : platform::PLAAAUtil {
    Manager(RecordingCoreLibrary& asked, bool anonymous) : library(asked), isAnonymous(anonymous) {}
    void getTokenWithSuccess(std::function<void(Text)> block) override {
      library.noted("token");
      library.Base::authentication(isAnonymous).getTokenWithSuccess([&](Text token) {
        block(token && isAnonymous ? "anonymous " + *token : token);
      });
    }
    RecordingCoreLibrary& library;
    bool isAnonymous;
  };

  template <class Result = bool>
  Result noted(const std::string& call, Result&& result = {}) {
    process_.report("core library", "asked", platform::Value::dictionary({{"text", call}}));
    return std::forward<Result>(result);
  }

  host::Process& process_;
  Manager device_{*this, false};
  Manager anonymousUser_{*this, true};
};

/// A phone without a network, whose core library and requests are recorded. Its requests are accepted until `server`
/// does something else.
class RecordingPhone : public TestPhone {
 public:
  explicit RecordingPhone(const platform::Value& configuration) : TestPhone(configuration) { install(); }

  host::Process& launch() {
    (*this)->launch();
    install();
    return *(*this)->process();
  }
  void configure(const platform::Value& configuration) {
    (*this)->configure(configuration);
    install();
  }
  RecordingCoreLibrary& coreLibrary() { return *library_; }
  std::vector<SentRequest> takeRequests() { return std::exchange(requests_, {}); }

  OfflineSession::Server server = answerLater();

 private:
  void install() {
    host::Process& process = *(*this)->process();
    library_ = std::make_shared<RecordingCoreLibrary>(process, (*this)->configurationPath(), (*this)->keychain());
    process.setCoreLibrary(library_);
    process.setSessionFactory([this, &process] {
      process.report("network", "asked", platform::Value::dictionary({{"text", "session"}}));
      return std::make_shared<OfflineSession>([this](const SentRequest& sent) {
        requests_.push_back(sent);
        server(sent);
      });
    });
  }

  std::shared_ptr<RecordingCoreLibrary> library_;
  std::vector<SentRequest> requests_;
};

}  // namespace test

#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "host/phone/process.h"
#include "platform/core_library.h"
#include "services/core_library/configuration.h"
#include "services/item_store.h"

namespace host {

/// The start of a virtual clock. It is fixed, so that a run gives the same timestamps every time.
inline constexpr std::chrono::milliseconds virtualEpoch{1'767'225'600'000};  // 2026-01-01T00:00:00Z

/// The core library of one process, which the class-level calls of platform/core_library.h reach. It returns at once,
/// on the caller's thread, with data from a configuration that may be replaced at any moment, for example when consent
/// changes. When the module asks for an entry that the configuration lacks, the event "blocked" of the module says what
/// follows from that. Tests override its calls.
class CoreLibrary : public platform::QVPIIManager,
                    public platform::Analytics,
                    public platform::QVSystemProperties,
                    public platform::QVFileManager,
                    public platform::PLBundle,
                    public platform::PLJWTWrapper {
 public:
  /// The configuration is the bundle's resource of this name and of type "plist".
  static constexpr const char* configurationResource = "PellionInfo";

  CoreLibrary(Process& process, std::filesystem::path bundle, services::ItemStore& keychain,
              std::shared_ptr<const services::Configuration> configuration);
  void setConfiguration(std::shared_ptr<const services::Configuration> configuration);

  virtual platform::PLAAAUtil& authentication(bool anonymous) { return anonymous ? anonymousUser_ : device_; }
  virtual PLBundle& mainBundle() { return *this; }
  virtual PLJWTWrapper& jwtWrapper() { return *this; }
  std::optional<platform::Value> appMeta() {
    return asked(configuration()->appMeta, "sends no statistics", "APP_META");
  }
  void getAppVersionID(const std::function<void(const std::string&)>& success,
                       const std::function<void(const platform::Error&)>& failure);
  virtual void processError(const platform::Value& json, platform::PLAAAUtil& authentication);
  virtual std::int64_t timeInLong();
  services::ItemStore& keychain() { return keychain_; }
  virtual std::optional<platform::Value> gzip(const platform::Value& data, float level);

  void newRegisterDevice(std::function<void(platform::OptionalString)> block) override;
  bool isAnonymousUser() override { return configuration()->isAnonymousUser; }
  platform::OptionalString anonid() override {
    return askedText(configuration()->anonymousID, "names no user to the backend", "ANONYMOUS_ID");
  }
  bool enableAnonymousTracking() override;
  platform::OptionalString getDCLBD() override { return configuration()->domain; }
  platform::OptionalString appversionid() override { return configuration()->appVersionID; }
  platform::OptionalString frameworkid() override { return configuration()->frameworkID; }
  platform::OptionalString mapid() override { return configuration()->mapID; }
  platform::OptionalString apid() override { return configuration()->apID; }
  platform::OptionalString portalid() override {
    return askedText(configuration()->portalID, "addresses no portal", "PORTAL_ID");
  }
  platform::OptionalString projectid() override {
    return askedText(configuration()->projectID, "addresses no project", "PROJECT_ID");
  }
  bool enableGzip() override { return configuration()->isGzipEnabled; }
  platform::OptionalString getQvInfoFilePath() override { return configurationResource; }
  platform::OptionalString extensionAppGroup() override { return configuration()->appGroup; }
  platform::OptionalString pathForResource(const platform::OptionalString& name, const char* type) override;
  std::optional<platform::Value> encodeWithJWT(const platform::Value& payload) override;
  std::optional<platform::Value> encodeDataWithJWT(const platform::Value& bytes) override;

 private:
  /// Both identities have the same bearer token, but processError depends on which manager was asked.
  class Authentication : public platform::PLAAAUtil {
   public:
    explicit Authentication(CoreLibrary& library) : library_(library) {}
    void getTokenWithSuccess(std::function<void(platform::OptionalString)> block) override {
      block(library_.asked(library_.configuration()->bearerToken, "sends nothing", "BEARER_TOKEN"));
    }

   private:
    CoreLibrary& library_;
  };

  [[nodiscard]] std::shared_ptr<const services::Configuration> configuration() const;
  /// Returns the entry that the module asks for, and reports the effect of its absence.
  template <class Entry>
  Entry asked(Entry entry, const char* effect, const std::string& key) {
    report(!entry, effect, "the configuration has no " + key, "add it");
    return entry;
  }
  /// The same for a text of which nothing is left in a URL if it is empty.
  platform::OptionalString askedText(platform::OptionalString text, const char* effect, const std::string& key) {
    report(text && text->empty(), effect, key + " is empty in the configuration", "give it a value");
    return asked(std::move(text), effect, key);
  }
  void report(bool isBlocked, const char* effect, const std::string& reason, const char* remedy);

  Process& process_;
  std::filesystem::path bundle_;
  services::ItemStore& keychain_;
  Authentication device_{*this};
  Authentication anonymousUser_{*this};
  mutable std::mutex mutex_;
  std::shared_ptr<const services::Configuration> configuration_;
  std::set<std::string> reported_;  ///< reasons that still hold
};

/// Notifies the current process, as the core library does, of what the user does in the application: `report` has the
/// "action" and the data that belongs to it. Main thread: on another thread it throws ProgrammingError.
void announceEngagement(const platform::Value& report);

}  // namespace host

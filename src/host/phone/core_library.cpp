#include "host/phone/core_library.h"

#include <chrono>
#include <system_error>
#include <utility>

#include "host/phone/process.h"
#include "platform/notification_center.h"
#include "services/core_library/signed_body.h"
#include "services/gzip.h"

namespace host {

using platform::Value;

CoreLibrary::CoreLibrary(Process& process, std::filesystem::path bundle, services::ItemStore& keychain,
                         std::shared_ptr<const services::Configuration> configuration)
    : process_(process), bundle_(std::move(bundle)), keychain_(keychain), configuration_(std::move(configuration)) {}

std::shared_ptr<const services::Configuration> CoreLibrary::configuration() const {
  const std::lock_guard lock(mutex_);
  return configuration_;
}

void CoreLibrary::setConfiguration(std::shared_ptr<const services::Configuration> configuration) {
  const std::lock_guard lock(mutex_);
  configuration_.swap(configuration);
}

// Once in each process while a reason holds: every notification would repeat the same line.
void CoreLibrary::report(bool isBlocked, const char* effect, const std::string& reason, const char* remedy) {
  if (!process_.hasListener()) return;
  {
    const std::lock_guard lock(mutex_);
    const bool wasReported = reported_.erase(reason) > 0;
    if (isBlocked) reported_.insert(reason);
    if (!isBlocked || wasReported) return;
  }
  process_.report("module", "blocked", obstacle(effect, reason, remedy));
}

void CoreLibrary::newRegisterDevice(std::function<void(platform::OptionalString)> block) {
  const auto current = configuration();
  const bool isAnonymous = current->isAnonymousUser && current->isAnonymousTrackingEnabled;  // the id is not used then
  block(isAnonymous ? current->deviceID : askedText(current->deviceID, "names no device to the backend", "DEVICE_ID"));
}

// Asked only for a user who wants to be anonymous.
bool CoreLibrary::enableAnonymousTracking() {
  const bool isEnabled = configuration()->isAnonymousTrackingEnabled;
  report(!isEnabled, "names the device to the backend, although the user is anonymous",
         "the configuration does not set ANONYMOUS_TRACKING", "set it to true to send the anonymous id");
  return isEnabled;
}

void CoreLibrary::getAppVersionID(const std::function<void(const std::string&)>& success,
                                  const std::function<void(const platform::Error&)>& failure) {
  const auto appVersionID = asked(configuration()->appVersionID, "sends nothing", "APP_VERSION_ID");
  if (appVersionID) {
    success(*appVersionID);
  } else {
    failure({.domain = "PellionErrorDomain", .code = 1, .localizedDescription = "APP_VERSION_ID is not configured."});
  }
}

void CoreLibrary::processError(const Value& json, platform::PLAAAUtil& authentication) {
  process_.report("core library", "rejected response",
                  Value::dictionary({{"identity", &authentication == &anonymousUser_ ? "anonymous user" : "device"},
                                     {"json", json}}));
}

// Milliseconds since 1970.
std::int64_t CoreLibrary::timeInLong() {
  using std::chrono::milliseconds;
  if (process_.clock().isVirtual()) {
    return (virtualEpoch + std::chrono::duration_cast<milliseconds>(process_.clock().now())).count();
  }
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<milliseconds>(sinceEpoch).count();
}

std::optional<Value> CoreLibrary::gzip(const Value& data, float level) {
  return services::gzip(data.asBytes("bytes"), level);
}

platform::OptionalString CoreLibrary::pathForResource(const platform::OptionalString& name, const char* type) {
  if (!name) return std::nullopt;
  std::filesystem::path path = bundle_ / (*name + "." + type);
  std::error_code ignored;  // a missing file and an unreadable folder are the same to a bundle
  if (!std::filesystem::exists(path, ignored)) return std::nullopt;
  return path.string();
}

std::optional<Value> CoreLibrary::encodeWithJWT(const Value& payload) {
  return services::signedPayload(payload, configuration()->jwtSecret);
}

std::optional<Value> CoreLibrary::encodeDataWithJWT(const Value& bytes) {
  return services::signedGzip(bytes, configuration()->jwtSecret);
}

void announceEngagement(const Value& report) {
  Process::current().mainQueue().requireMainThread("an engagement is announced");
  platform::NotificationCenter::postNotificationName("PLRateUsNotification", platform::boxed(report));
}

}  // namespace host

// Forward the class-level calls to the current process's core library.
namespace platform {
namespace {

host::CoreLibrary& coreLibrary() { return host::Process::current().coreLibrary(); }

}  // namespace

QVPIIManager& QVPIIManager::getInstance() { return coreLibrary(); }
Analytics& Analytics::getInstance() { return coreLibrary(); }
PLAAAUtil& PLAAAUtil::sharedManagerForDevice() { return coreLibrary().authentication(false); }
PLAAAUtil& PLAAAUtil::sharedManagerForAnonymousUser() { return coreLibrary().authentication(true); }
QVSystemProperties& QVSystemProperties::sharedInstance() { return coreLibrary(); }
void QVSystemProperties::getAppVersionID(const std::function<void(const std::string&)>& success,
                                         const std::function<void(const Error&)>& failure) {
  coreLibrary().getAppVersionID(success, failure);
}
std::optional<Value> QVSystemProperties::appMeta() { return coreLibrary().appMeta(); }
QVFileManager& QVFileManager::sharedInstance() { return coreLibrary(); }
PLBundle& PLBundle::getMainBundle() { return coreLibrary().mainBundle(); }
PLJWTWrapper& PLJWTWrapper::sharedManager() { return coreLibrary().jwtWrapper(); }
void QVNetworking::processError(const Value& json, PLAAAUtil& aaaUtil) { coreLibrary().processError(json, aaaUtil); }
std::int64_t QVSystemInfo::getTimeinLong() { return coreLibrary().timeInLong(); }
std::optional<Value> pl_gzippedData(const Value& data, float compressionLevel) {
  return coreLibrary().gzip(data, compressionLevel);
}

std::optional<Value> QVKeyChainWrapper::dataForKey(const char* key) { return coreLibrary().keychain().data(key); }

void QVKeyChainWrapper::setData(const Value& data, const char* key) {
  if (!coreLibrary().keychain().setData(key, data)) return;
  host::Process::current().report("keychain", "stored", Value::dictionary({{"key", key}, {"data", data}}));
}

}  // namespace platform

// URL sessions, which GNUstep Base has not, over libcurl.

#include "platform/url_session.h"

#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "foundation/objc/guarded.h"
#include "foundation/system/application_settings.h"
#include "platform/dispatch.h"
#include "platform/exception.h"
#include "platform/json_serialization.h"
#include "platform/process.h"
#include "platform/reference.h"
#include "services/url_loading/network.h"
#include "services/url_loading/request_owner.h"
#include "services/url_loading/url_session.h"
#include "services/url_release.h"
#include "value/ascii.h"

namespace foundation {
namespace {

using platform::Value;

std::optional<Value> infoEntry(const char* key) {
  const platform::AutoreleasePool pool;
  platform::Strong entry;
  guarded([&] { entry = foundation_infoEntry(platform::boxed(Value(key))); });
  return platform::unboxed(entry.get());
}

/// The hosts that the application's NSAppTransportSecurity allows clear-text http to.
services::NetworkPolicy declaredPolicy() {
  services::NetworkPolicy policy;
  const auto security = infoEntry("NSAppTransportSecurity");
  const Value* domains = security ? security->find("NSExceptionDomains") : nullptr;
  if (domains == nullptr) return policy;
  for (const auto& [host, settings] : domains->entries()) {
    const Value* isAllowed = settings.find("NSExceptionAllowsInsecureHTTPLoads");
    if (isAllowed != nullptr && *isAllowed == Value(true)) policy.clearTextHosts.emplace_back(host.text());
  }
  return policy;
}

/// For a header field: what is no character of a token is percent-encoded.
std::string encodedToken(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (value::isToken({&c, 1})) {
      encoded += c;
    } else {
      encoded.append({'%', digits[byte / 16], digits[byte % 16]});
    }
  }
  return encoded;
}

/// "Name/Version" of the application's bundle; without a bundle, the process's name.
std::string declaredUserAgent() {
  const platform::AutoreleasePool pool;
  auto name = infoEntry("CFBundleName");
  if (!name || !name->ifString()) {
    platform::Strong process;
    guarded([&] { process = foundation_processName(); });
    name = platform::unboxed(process.get());
  }
  std::string agent = encodedToken(name->text());
  const auto version = infoEntry("CFBundleVersion");
  if (version && version->ifString()) agent += '/' + encodedToken(version->text());
  return agent;
}

/// This program, as the owner of its requests.
class Program final : public services::RequestOwner {
 public:
  static Program& shared() {
    static auto& program = *new Program;  // its threads may outlive main
    return program;
  }

  /// What handlers use must end after them, so it is made first: functions of std::atexit run in reverse order.
  Program() {
    platform::JSONSerialization::JSONObjectWithData({}, nullptr);
    std::atexit([] { shared().end(); });
  }

  services::Network& network() override { return network_; }
  [[nodiscard]] std::shared_ptr<const services::NetworkPolicy> networkPolicy() const override { return policy_; }
  [[nodiscard]] std::string userAgent() const override { return userAgent_; }
  void beginOutsideWork() override {}  // real time passes by itself
  void endOutsideWork() override {}
  void after(std::chrono::nanoseconds delay, std::function<void()> work) override {
    platform::dispatchAfterOnMainQueue(delay, std::move(work));
  }
  void run(const std::function<void()>& handler) override {
    const std::shared_lock lock(running_);
    if (isEnding_) return;
    const platform::AutoreleasePool pool;
    isInHandler_ = true;
    platform::enter(handler);
    isInHandler_ = false;
  }
  [[nodiscard]] bool hasListener() const override { return false; }
  void report(std::string_view /*what*/, Value /*details*/) override {}

 private:
  /// exit() waits for the handlers that run, unless one of them calls it, and no other begins.
  void end() {
    if (isInHandler_) return;
    const std::unique_lock lock(running_);
    isEnding_ = true;
  }

  static inline thread_local bool isInHandler_ = false;
  std::shared_mutex running_;
  bool isEnding_ = false;
  services::Network network_;
  const std::shared_ptr<const services::NetworkPolicy> policy_ =
      std::make_shared<const services::NetworkPolicy>(declaredPolicy());
  const std::string userAgent_ = declaredUserAgent();
};

}  // namespace
}  // namespace foundation

std::shared_ptr<platform::URLSession> platform::URLSession::sessionWithDefaultConfiguration() {
  return services::makeURLSession(foundation::Program::shared());
}

bool services::isLinkedBefore17() {
  static const bool isBefore = [] {
    const auto release = foundation::infoEntry("DTPlatformVersion");
    return release && release->ifString() && release->integerValue() < 17;
  }();
  return isBefore;
}

void services::noteTextWithoutURL(std::string_view text) {
  foundation_systemLog(("PellionMessaging: no URL can be made of " + std::string(text)).c_str());
}

#include "network/PLTokenManager.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/core_library.h"
#include "platform/log.h"
#include "platform/notification_center.h"
#include "platform/text.h"

namespace {

constexpr const char* storedTokenKey = "com.tovrin.pellion.apnstoken";
constexpr const char* trackingStatusNotification = "PLXPIIStatusUpdateNotification";
constexpr const char* trackingStatusHandler = "personalInfoTrackingStatusUpdated:";

/// The two hexadecimal digits of each byte value.
constexpr std::array hexadecimal = [] {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t byte = 0; byte < pairs.size(); ++byte) pairs[byte] = {digits[byte / 16], digits[byte % 16]};
  return pairs;
}();

struct SharedTokenManager : platform::Singleton<PLTokenManager> {
  SharedTokenManager() {
    platform::NotificationCenter::addObserver(platform::objectOf(get()), sel_registerName(trackingStatusHandler),
                                              trackingStatusNotification, nullptr);
  }
};

}  // namespace

PLTokenManager& PLTokenManager::sharedInstance() { return platform::Process::shared<SharedTokenManager>().get(); }

void PLTokenManager::defineClass(platform::ClassFace<PLTokenManager>& face) {
  face.method<&PLTokenManager::personalInfoTrackingStatusUpdated>(trackingStatusHandler);
}

void PLTokenManager::setAPNSToken(const platform::Value* token) {
  const std::optional<platform::Value> stored = platform::QVKeyChainWrapper::dataForKey(storedTokenKey);
  if (stored && token != nullptr && *stored == *token) return;
  registerAPNSToken(token);
}

void PLTokenManager::registerAPNSToken(const platform::Value* token) {
  if (token == nullptr) return;
  sendTokenToServer(*token, [token = *token](bool success) {
    if (success) platform::QVKeyChainWrapper::setData(token, storedTokenKey);
  });
}

void PLTokenManager::sendTokenToServer(const platform::Value& token, Completion completion) {
  platform::QVSystemProperties::getAppVersionID(
      [this, token, completion = std::move(completion)](const std::string&) {
        auto& properties = platform::QVSystemProperties::sharedInstance();
        // Kept: a missing portal or project id is not replaced here and prints as (null).
        makeRequest(
            platform::format("%@/%@/%@", {properties.portalid(), properties.projectid(), "pushnotification/device"}),
            platform::format("status=%@", {"register"}), Headers{{"notificationid", stringFromDeviceToken(&token)}},
            std::nullopt, completion);
      },
      [](const platform::Error&) {
        // Kept: logs the bare word, without the error, and never calls the completion.
        PL_LOG(platform::pellionLog, "-[PLTokenManager sendTokenToServer:completion:]_block_invoke_2", "error");
      });
}

void PLTokenManager::personalInfoTrackingStatusUpdated(id) {
  registerAPNSToken(platform::orNull(platform::QVKeyChainWrapper::dataForKey(storedTokenKey)));
}

void PLTokenManager::sendStatsToServer(const platform::Value& entries, Completion completion) {
  platform::QVSystemProperties::getAppVersionID(
      [this, entries, completion = std::move(completion)](const std::string&) {
        auto& properties = platform::QVSystemProperties::sharedInstance();
        // Kept: a missing portal or project id is replaced by the empty text here, unlike for the token.
        std::string path = platform::format(
            "%@/%@/%@", {properties.portalid().value_or(""), properties.projectid().value_or(""), "channel/add"});
        const std::optional<platform::Value> meta = platform::QVSystemProperties::appMeta();
        if (!meta) return;
        makeRequest(std::move(path), std::nullopt, std::nullopt,
                    platform::Value::dictionary({{"meta", *meta}, {"pnstats", entries}}), completion);
      },
      [](const platform::Error&) {
        // Kept: the spelling; and the completion is never called.
        PL_LOG(platform::pellionLog, "-[PLTokenManager sendStatsToServer:completion:]_block_invoke_2", "erorr");
      });
}

std::string PLTokenManager::stringFromDeviceToken(const platform::Value* token) const {
  if (token == nullptr) return {};
  const platform::ByteView bytes = token->asBytes("bytes");
  std::string text(2 * bytes.size(), '\0');
  char* next = text.data();
  for (const std::uint8_t byte : bytes) {
    next = std::ranges::copy(hexadecimal[byte], next).out;
  }
  return text;
}

// The facade: its one instance, the token hand-off, and the statistics that the notification extension left.

#include "messaging/PLMessaging.h"

#include "network/PLTokenManager.h"
#include "platform/dispatch.h"
#include "platform/log.h"
#include "platform/notification_center.h"
#include "platform/ui_application.h"

namespace {

constexpr const char* engagementNotification = "PLRateUsNotification";
constexpr const char* engagementHandler = "globalEngagementDataNotification:";
constexpr const char* activationHandler = "applicationDidBecomeActive:";
constexpr const char* pendingStatsKey = "pellionDidReceivePushNotification";
constexpr std::chrono::seconds drainDelay{3};

struct SharedMessaging : platform::Singleton<PLMessaging> {
  SharedMessaging() {
    namespace NotificationCenter = platform::NotificationCenter;
    platform::classOf<PLTokenManager>();  // a name that is taken ends the program now, not with the first token
    const id observer = platform::objectOf(get());
    NotificationCenter::addObserver(observer, sel_registerName(engagementHandler), engagementNotification, nullptr);
    NotificationCenter::addObserver(observer, sel_registerName(activationHandler),
                                    platform::UIApplication::didBecomeActiveNotification, nullptr);
  }
};

}  // namespace

PLMessaging& PLMessaging::shared() { return platform::Process::shared<SharedMessaging>().get(); }

void PLMessaging::defineClass(platform::ClassFace<PLMessaging>& face) {
  face.method<&PLMessaging::globalEngagementDataNotification>(engagementHandler)
      .method<&PLMessaging::applicationDidBecomeActive>(activationHandler);
}

void PLMessaging::setAPNSToken(const platform::Value* token) {
  PLTokenManager& tokenManager = PLTokenManager::sharedInstance();
  if (token != nullptr) token->asBytes("bytes");  // raises for another kind, whether or not the line below is logged
  PL_LOG(platform::pellionLog, "-[PLMessaging setAPNSToken:]", "APNs Device Token : %@",
         tokenManager.stringFromDeviceToken(token));
  // The new token is asked whether it is equal: null is equal to nothing, not even to a missing stored token.
  if (token != nullptr && apnsToken_ && *token == *apnsToken_) return;
  apnsToken_ = platform::copied(token);
  apnsTokenObject_ = {};
  tokenManager.setAPNSToken(token);
}

void PLMessaging::setAPNSTokenObject(id token) {
  const std::optional<platform::Value> bytes = platform::unboxed(token);
  setAPNSToken(platform::orNull(bytes));
  const bool isStored = bytes && apnsToken_ && apnsToken_->bytes().data() == bytes->bytes().data();
  if (isStored && !apnsTokenObject_) apnsTokenObject_ = token;
}

platform::Strong PLMessaging::APNSTokenObject() const {
  return apnsTokenObject_ || !apnsToken_ ? apnsTokenObject_ : platform::Strong(platform::boxed(*apnsToken_));
}

void PLMessaging::didFailToRegisterForRemoteNotificationsWithError(id error) {
  if (error == nullptr) return;
  PL_LOG(platform::pellionLog, "-[PLMessaging didFailToRegisterForRemoteNotificationsWithError:]",
         "Push notification didFailToRegisterForRemoteNotificationsWithError: %@", error);
}

void PLMessaging::applicationDidBecomeActive(id) {
  platform::dispatchAfterOnMainQueue(
      drainDelay, [this, self = platform::Strong(platform::objectOf(*this))] { drainSharedStats(); });
}

void PLMessaging::drainSharedStats() const {
  const std::shared_ptr<platform::UserDefaults> defaults = getSharedDefaults();
  if (!defaults) return;
  const std::optional<platform::Value> pending = defaults->objectForKey(pendingStatsKey);
  if (!pending || pending->count() == 0) return;
  PLTokenManager::sharedInstance().sendStatsToServer(*pending, [](bool success) {
    PL_LOG(platform::pellionLog, "-[PLMessaging applicationDidBecomeActive:]_block_invoke_2",
           "Push notification stats request: %i", success);
  });
  // Kept: emptied at once, whether or not the upload will succeed.
  defaults->setObject(platform::Value::list({}), pendingStatsKey);
  defaults->synchronize();
}

#include "interception/notification_center_methods.h"

#include <optional>

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "interception/platform_access.h"
#include "messaging/PLMessaging.h"
#include "platform/object_messages.h"

namespace {

using platform::isKindOfClass;
using platform::Strong;
using platform::Value;

/// The delegate's own implementation, if one is preserved, with everything that the call of it needs.
template <class Signature>
class Continuation {
 public:
  Continuation(id delegate, SEL selector, id center, id event, platform::BlockPtr<Signature> handler)
      : implementation_(
            PLMessagingRemoteNotificationsProxy::sharedInstance().fetchOriginalImplementationForSelector(selector)),
        selector_(selector),
        delegate_(delegate),
        center_(center),
        event_(event),
        handler_(handler) {}

  void operator()() const {
    if (implementation_ == nullptr) return;
    platform::callImplementation<void(id, id, platform::BlockPtr<Signature>)>(
        implementation_, delegate_.get(), selector_, center_.get(), event_.get(), handler_.get());
  }

 private:
  IMP implementation_;
  SEL selector_;
  Strong delegate_;
  Strong center_;
  Strong event_;
  platform::Block<Signature> handler_;
};

/// Nothing for a payload that is none of ours: the facade would find nothing in it.
std::optional<Value> payloadOf(id notification) {
  return platform::unboxedIfItHasKey(PLMessagingUserInfoFromNotification(notification).get(), PLMessaging::addInfoKey);
}

}  // namespace

void PLSwizzleWillPresentNotificationWithHandler(id delegate, SEL selector, id center, id notification,
                                                 PresentationHandler handler) {
  const Continuation continuation(delegate, selector, center, notification, handler);
  const Class centerClass = objc_getClass("UNUserNotificationCenter");
  const Class notificationClass = objc_getClass("UNNotification");
  // Kept: does not return here, so the delegate's own code runs a second time when a class is missing.
  if (centerClass == nullptr || notificationClass == nullptr) continuation();
  if (!isKindOfClass(center, centerClass) || !isKindOfClass(notification, notificationClass) || handler == nullptr) {
    return continuation();
  }
  if (const std::optional<Value> payload = payloadOf(notification)) PLMessaging::shared().updateLogMsgIds(&*payload);
  continuation();
}

void PLSwizzleDidReceiveNotificationResponseWithHandler(id delegate, SEL selector, id center, id response,
                                                        ResponseHandler handler) {
  const Continuation continuation(delegate, selector, center, response, handler);
  if (!isKindOfClass(center, objc_getClass("UNUserNotificationCenter")) ||
      !isKindOfClass(response, objc_getClass("UNNotificationResponse")) || handler == nullptr) {
    return continuation();
  }
  const Strong notification =
      PLPropertyNameForMessagingFromObject(response, "notification", objc_getClass("UNNotification"));
  if (const std::optional<Value> payload = payloadOf(notification.get())) {
    PLMessaging::shared().appDidReceiveMessage(&*payload, response);
  }
  continuation();
}

// Follows the notification center's delegate: restores the class of the former delegate, then intercepts the class of
// the present one, since the preserved implementations are those of one class at a time.

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "interception/notification_center_methods.h"
#include "interception/platform_access.h"
#include "platform/exception.h"
#include "platform/key_value_observing.h"
#include "platform/log.h"
#include "platform/object_messages.h"
#include "platform/value.h"

using Proxy = PLMessagingRemoteNotificationsProxy;

namespace {

constexpr const char* centerDelegateKey = "delegate";

// Its own address: no other observation has the same context.
void* const UserNotificationObserverContext = const_cast<void**>(&UserNotificationObserverContext);

Protocol* delegateProtocol() { return objc_getProtocol("UNUserNotificationCenterDelegate"); }

bool conforms(id delegate) { return platform::conformsToProtocol(delegate, delegateProtocol()); }

/// Returns the delegate in a change dictionary, where the null object stands for nil.
platform::Strong changedDelegate(id change, const char* key) {
  const std::optional<platform::Value> value = platform::changedValue(change, key);
  return value ? value->ifObject() : nullptr;
}

}  // namespace

void Proxy::monitorUserNotificationCenterDelegateChanges(id center) {
  const Class centerClass = objc_getClass("UNUserNotificationCenter");
  if (!platform::isKindOfClass(center, centerClass)) return;
  const platform::Strong delegate = PLPropertyNameForMessagingFromObject(center, centerDelegateKey, nullptr);
  if (conforms(delegate.get())) swizzleDelegateForUserNotificationCenter(delegate.get());
  attachDelegateObserverToUserNotificationCenter(center);
}

void Proxy::attachDelegateObserverToUserNotificationCenter(id center) {
  detachUserNotificationCenterDelegateObserver();
  try {
    platform::addObserver(center, platform::objectOf(*this), centerDelegateKey,
                          platform::NSKeyValueObservingOptionNew | platform::NSKeyValueObservingOptionOld,
                          UserNotificationObserverContext);
    userNotificationCenter_ = center;
    isListeningForUserNotificationDelegateChanges_ = true;
  } catch (const platform::Exception& exception) {
    PL_LOG(platform::pellionWarning,
           "-[PLMessagingRemoteNotificationsProxy attachDelegateObserverToUserNotificationCenter:]",
           "An exception occurred while attempting to add a KVO observer for UNUserNotificationCenter's 'delegate' "
           "property: %@",
           exception);
  }
}

void Proxy::detachUserNotificationCenterDelegateObserver() {
  if (!userNotificationCenter_) return;
  try {
    platform::removeObserver(userNotificationCenter_.get(), platform::objectOf(*this), centerDelegateKey,
                             UserNotificationObserverContext);
    userNotificationCenter_ = {};
    isListeningForUserNotificationDelegateChanges_ = false;
  } catch (const platform::Exception& exception) {
    PL_LOG(platform::pellionWarning,
           "-[PLMessagingRemoteNotificationsProxy detachUserNotificationCenterDelegateObserver]",
           "An exception occurred while attempting to remove a KVO observer for UNUserNotificationCenter's 'delegate' "
           "property: %@",
           exception);
  }
}

void Proxy::observeValueForKeyPath(id keyPath, id object, id change, void* context) {
  if (context == UserNotificationObserverContext) return observedDelegate(keyPath, change);
  const SEL selector = sel_registerName(platform::observeValueForKeyPathSelector);
  const IMP inherited = class_getMethodImplementation(class_getSuperclass(platform::classOf<Proxy>()), selector);
  platform::callImplementation<void(id, id, id, void*)>(inherited, platform::objectOf(*this), selector, keyPath, object,
                                                        change, context);
}

void Proxy::observedDelegate(id keyPath, id change) {
  if (platform::unboxed(keyPath) != platform::Value(centerDelegateKey)) return;
  if (const platform::Strong former = changedDelegate(change, platform::NSKeyValueChangeOldKey)) {
    unswizzleDelegateForUserNotificationCenter(former.get());
  }
  if (const platform::Strong present = changedDelegate(change, platform::NSKeyValueChangeNewKey)) {
    swizzleDelegateForUserNotificationCenter(present.get());
  }
}

void Proxy::swizzleDelegateForUserNotificationCenter(id delegate) {
  if (delegate == presentUserNotificationCenterDelegate_.get()) return;
  if (!conforms(delegate)) return;
  const auto replace = [&](const char* name, IMP replacement) {
    const SEL selector = sel_registerName(name);
    if (!platform::respondsToSelector(delegate, selector)) return;
    swizzleSelector(selector, platform::classOf(delegate), replacement, delegateProtocol());
  };
  replace(willPresentSelector, platform::implementationOf<&PLSwizzleWillPresentNotificationWithHandler>());
  replace(didReceiveSelector, platform::implementationOf<&PLSwizzleDidReceiveNotificationResponseWithHandler>());
  presentUserNotificationCenterDelegate_ = delegate;
  isUserNotificationDelegateSwizzled_ = true;
}

// Kept: restores both selectors, also one that was not replaced. The class forwards that one afterwards.
void Proxy::unswizzleDelegateForUserNotificationCenter(id delegate) {
  if (delegate != presentUserNotificationCenterDelegate_.get()) return;
  for (const char* selector : {willPresentSelector, didReceiveSelector}) {
    unswizzleSelector(sel_registerName(selector), platform::classOf(presentUserNotificationCenterDelegate_.get()));
  }
  presentUserNotificationCenterDelegate_ = {};
  isUserNotificationDelegateSwizzled_ = false;
}

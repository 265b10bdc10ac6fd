#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "messaging/PLMessaging.h"
#include "platform/process.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"
#include "tests/support/phone.h"
#include "tests/support/runtime_objects.h"

// An application's own classes, made at run time. Their calls are recorded, in order.

namespace test {

constexpr const char* didRegister = "application:didRegisterForRemoteNotificationsWithDeviceToken:";
constexpr const char* didFail = "application:didFailToRegisterForRemoteNotificationsWithError:";
constexpr const char* didReceive = "application:didReceiveRemoteNotification:fetchCompletionHandler:";
constexpr const char* willPresent = "userNotificationCenter:willPresentNotification:withCompletionHandler:";
constexpr const char* didRespond = "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

using FetchHandler = platform::BlockPtr<void(platform::UIBackgroundFetchResult)>;
using PresentationHandler = platform::BlockPtr<void(platform::UNNotificationPresentationOptions)>;
using ResponseHandler = platform::BlockPtr<void()>;

struct Calls {
  std::vector<std::string> list;
};
/// The calls since the last time, as "A token T" and the like.
inline std::vector<std::string> takeCalls() { return std::exchange(platform::Process::shared<Calls>().list, {}); }
inline void note(char who, const std::string& what) {
  platform::Process::shared<Calls>().list.push_back(std::string(1, who) + " " + what);
}

// Callbacks of the object called `who`.
template <char who>
void noteToken(id, SEL selector, id application, id token) {
  EXPECT_EQ(application, sharedApplication());
  EXPECT_EQ(selector, sel(didRegister));
  note(who, platform::format("token %@", {platform::unboxed(token)}));
}
template <char who>
void noteFailure(id, SEL selector, id application, id error) {
  EXPECT_EQ(application, sharedApplication());
  EXPECT_EQ(selector, sel(didFail));
  note(who, platform::format("failure %@", {platform::send<id()>(error, sel("localizedDescription"))}));
}
template <char who>
void notePresent(id, SEL, id, id, PresentationHandler handler) {
  note(who, platform::format("present after %@", {PLMessaging::shared().pnID()}));
  if (handler != nullptr) platform::invoke(handler, platform::UNNotificationPresentationOptionBanner);
}
template <char who>
void noteResponse(id, SEL, id, id, ResponseHandler handler) {
  note(who, platform::format("response after %@", {PLMessaging::shared().conversionEvent()}));
  if (handler != nullptr) platform::invoke(handler);
}

/// A class that declares the protocol.
inline Class declaringClass(const char* name, const char* protocol, Class superclass = objc_getClass("NSObject")) {
  const Class cls = makeClass(name, superclass);
  class_addProtocol(cls, objc_getProtocol(protocol));
  return cls;
}
inline Class appDelegateClass(const char* name) { return declaringClass(name, "UIApplicationDelegate"); }
template <char who>
Class centerDelegateClass(const char* name) {
  const Class cls = declaringClass(name, "UNUserNotificationCenterDelegate");
  addMethod<&notePresent<who>>(cls, willPresent);
  addMethod<&noteResponse<who>>(cls, didRespond);
  return cls;
}

inline void setAppDelegate(id delegate) {
  platform::send<void(id)>(sharedApplication(), sel("setDelegate:"), delegate);
}
inline void setCenterDelegate(id delegate) {
  platform::send<void(id)>(currentNotificationCenter(), sel("setDelegate:"), delegate);
}
inline bool responds(id object, const char* selector) {
  return platform::send<bool(SEL)>(object, sel("respondsToSelector:"), sel(selector));
}

}  // namespace test

#include "framework/PellionMessaging/module_calls.h"

#include <span>
#include <string>
#include <vector>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"
#include "platform/exception.h"

// Each call is an entry of ours: what it throws leaves as Objective-C's exceptions do.

namespace framework {
namespace {

using platform::Value;

/// A value of the application, null for null.
class Argument {
 public:
  explicit Argument(id object) : value_(platform::unboxed(object)) {}
  [[nodiscard]] const Value* get() const { return value_ ? &*value_ : nullptr; }
  [[nodiscard]] const std::string* text() {
    if (value_ && value_->ifString()) text_ = value_->text();
    return value_ && value_->ifString() ? &text_ : nullptr;
  }

 private:
  std::optional<Value> value_;
  std::string text_;
};

id boxedText(const std::optional<std::string>& text) { return text ? platform::boxed(Value(*text)) : nullptr; }
id boxedValue(const std::optional<Value>& value) { return value ? platform::boxed(*value) : nullptr; }

}  // namespace
}  // namespace framework

using framework::Argument;
using platform::Value;

void pl_startService() { platform::enter(&PLMessaging::startService); }
id pl_messaging() {
  return platform::enter([] { return platform::objectOf(PLMessaging::shared()); });
}
id pl_APNSToken() {
  return platform::enter([] { return PLMessaging::shared().APNSTokenObject().autoreleased(); });
}
void pl_setAPNSToken(id token) {
  platform::enter([&] { PLMessaging::shared().setAPNSTokenObject(token); });
}
id pl_pellionPnID() {
  return platform::enter([] {
    const PLMessaging::IDSet& seen = PLMessaging::shared().pellionPnID();
    return platform::boxed(Value::list(std::vector<Value>(seen.begin(), seen.end())));
  });
}
void pl_setPellionPnID(id identifiers) {
  platform::enter([&] {
    const Argument list(identifiers);
    const std::span<const Value> ids = list.get() != nullptr ? list.get()->elements() : std::span<const Value>();
    PLMessaging::shared().setPellionPnID(PLMessaging::IDSet(ids.begin(), ids.end()));
  });
}
id pl_conversionEvent() {
  return platform::enter([] { return framework::boxedText(PLMessaging::shared().conversionEvent()); });
}
void pl_setConversionEvent(id goal) {
  platform::enter([&] {
    const Argument text(goal);
    if (text.get() == nullptr) return PLMessaging::shared().setConversionEvent(std::nullopt);
    PLMessaging::shared().setConversionEvent(std::string(text.get()->asString("length")));
  });
}
id pl_pnID() {
  return platform::enter([] { return framework::boxedValue(PLMessaging::shared().pnID()); });
}
void pl_setPnID(id identifier) {
  platform::enter([&] { PLMessaging::shared().setPnID(platform::unboxed(identifier)); });
}
void pl_didFailToRegister(id error) {
  platform::enter([&] { PLMessaging::shared().didFailToRegisterForRemoteNotificationsWithError(error); });
}
void pl_updateLogMsgIds(id payload) {
  platform::enter([&] { PLMessaging::shared().updateLogMsgIds(Argument(payload).get()); });
}
void pl_appDidReceiveMessage(id payload, id response) {
  platform::enter([&] { PLMessaging::shared().appDidReceiveMessage(Argument(payload).get(), response); });
}
id pl_findValue(id key, id dictionary) {
  return platform::enter([&] {
    const Argument name(key);
    const Argument in(dictionary);
    if (name.get() == nullptr) return id();
    const std::string_view text = name.get()->asString("isEqualToString:");
    return platform::boxed(PLMessaging::shared().findValueForKey(text, in.get()));
  });
}
id pl_actionButton(id identifier, id buttons) {
  return platform::enter([&] {
    const Argument wanted(identifier);
    const Argument in(buttons);
    return platform::boxed(PLMessaging::shared().getActionButtonById(wanted.get(), in.get()));
  });
}
id pl_parsedBody(id body) {
  return platform::enter([&] {
    const Argument text(body);
    if (text.get() == nullptr) {
      throw platform::Exception(
          platform::invalidArgumentException,
          "-[PLMessaging parseBodyString:]: the text is nil; pass the text of a JSON object or array");
    }
    return framework::boxedValue(PLMessaging::shared().parseBodyString(*text.get()));
  });
}
void pl_updateBadgeCount(int64_t count) {
  platform::enter([&] { PLMessaging::shared().updateBadgeCount(count); });
}
int64_t pl_badgeCount() {
  return platform::enter([] { return PLMessaging::shared().getBadgeCount(); });
}

void pl_handleNotificationResponse(id response, id completion) {
  platform::enter([&] {
    PLNotificationHandler::shared().handleNotificationResponse(
        response, reinterpret_cast<platform::BlockPtr<void()>>(completion));
  });
}

id pl_resolvedClickAction(id response) {
  return platform::enter(
      [&] { return framework::boxedText(PLNotificationHandler::shared().resolvedClickActionFromResponse(response)); });
}
id pl_addInfo(id userInfo) {
  return platform::enter([&] {
    const Argument info(userInfo);
    if (info.get() == nullptr) return id();
    return framework::boxedValue(PLNotificationHandler::shared().addInfoDictionaryFromUserInfo(*info.get()));
  });
}
bool pl_isStringValue(id value) {
  return platform::enter(
      [&] { return PLNotificationHandler::shared().stringValue(Argument(value).get()).has_value(); });
}
void pl_openClickAction(id clickAction) {
  platform::enter([&] {
    const Argument text(clickAction);
    if (text.get() != nullptr) PLNotificationHandler::shared().openClickAction(text.get()->asString("length"));
  });
}

id pl_registerInterceptor(id interceptor) {
  return platform::enter(
      [&] { return framework::boxedText(PLAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor)); });
}
void pl_unregisterInterceptor(id identifier) {
  platform::enter([&] {
    Argument text(identifier);
    PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(text.text());
  });
}
bool pl_isAppDelegateProxyEnabled() { return PLAppDelegateSwizzler::isAppDelegateProxyEnabled(); }

#include "messaging/PLNotificationHandler.h"

#include "platform/dispatch.h"
#include "platform/json_serialization.h"
#include "platform/object_messages.h"
#include "platform/process.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

using platform::property;
using platform::Value;

PLNotificationHandler& PLNotificationHandler::shared() { return platform::Process::shared<PLNotificationHandler>(); }

void PLNotificationHandler::handleNotificationResponse(id response, platform::BlockPtr<void()> completion) const {
  const std::optional<std::string> clickAction = resolvedClickActionFromResponse(response);
  if (clickAction && !clickAction->empty()) openClickAction(*clickAction);
  if (completion != nullptr) platform::invoke(completion);
}

std::optional<std::string> PLNotificationHandler::resolvedClickActionFromResponse(id response) const {
  const id content = property(property(property(response, "notification"), "request"), "content");
  const std::optional<Value> userInfo = platform::unboxed(property(content, "userInfo"));
  const std::optional<Value> addInfo = addInfoDictionaryFromUserInfo(userInfo.value_or(Value::dictionary({})));
  if (!addInfo) return std::nullopt;

  const Value identifier = platform::unboxed(property(response, "actionIdentifier"))
                               .value_or(platform::UNNotificationDefaultActionIdentifier);
  if (identifier == Value(platform::UNNotificationDefaultActionIdentifier)) {
    return stringValue(addInfo->find("clickAction"));
  }
  if (identifier == Value(platform::UNNotificationDismissActionIdentifier)) return std::nullopt;

  const Value* buttons = addInfo->find("actionButton");
  for (const Value& button : buttons != nullptr ? buttons->elements() : std::span<const Value>()) {
    const Value* action = button.find("action");
    // The first match ends the search, also when it has no usable click action.
    if (action != nullptr && action->ifString() && *action == identifier) {
      return stringValue(button.find("clickAction"));
    }
  }
  return stringValue(addInfo->find("clickAction"));
}

std::optional<Value> PLNotificationHandler::addInfoDictionaryFromUserInfo(const Value& userInfo) const {
  const Value* addInfo = userInfo.find("addInfo");
  if (addInfo == nullptr) return std::nullopt;
  if (addInfo->ifDictionary() != nullptr) return *addInfo;
  const std::optional<std::string_view> text = addInfo->ifString();
  if (!text) return std::nullopt;
  std::optional<Value> json = platform::JSONSerialization::JSONObjectWithData(
      {reinterpret_cast<const std::uint8_t*>(text->data()), text->size()}, nullptr);
  if (!json || json->ifDictionary() == nullptr) return std::nullopt;
  return json;
}

std::optional<std::string> PLNotificationHandler::stringValue(const Value* value) const {
  const std::optional<std::string_view> text = value != nullptr ? value->ifString() : std::nullopt;
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

void PLNotificationHandler::openClickAction(std::string_view clickAction) const {
  const std::optional<platform::URL> url = platform::URL::URLWithString(clickAction);
  if (!url) return;
  platform::dispatchAsyncOnMainQueue([url = *url] { platform::UIApplication::openURL(url); });
}

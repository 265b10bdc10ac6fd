#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json_serialization.h"
#include "platform/url.h"
#include "platform/user_notifications.h"
#include "platform/value.h"

// What a payload must lead to, computed in the simplest way: with recursion, and without regard to speed.

namespace fuzz {

using platform::Value;

/// What must be recorded and opened; for a payload with values of the wrong kinds, until the exception is raised.
struct Outcome {
  std::vector<Value> sent = {};  ///< entries without their timestamp
  std::vector<std::string> opened = {};
  bool raised = false;
};

struct WrongKind {};

inline const Value& requireDictionary(const Value& value) {
  return value.ifDictionary() != nullptr ? value : throw WrongKind();
}
inline std::string requireText(const Value& value) {
  return value.ifString() ? std::string(value.text()) : throw WrongKind();
}

inline const Value* search(std::string_view key, const Value& dictionary) {
  for (const auto& [name, value] : dictionary.entries()) {
    if (name.text() == key) return &value;
    if (const Value* found = search(key, value)) return found;
    for (const Value& element : value.elements()) {
      if (const Value* found = search(key, element)) return found;
    }
  }
  return nullptr;
}

inline std::optional<Value> decoded(std::string_view text) {
  return platform::JSONSerialization::JSONObjectWithData(
      {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, nullptr);
}

inline void openIfPossible(const Value* clickAction, Outcome& outcome) {
  if (clickAction == nullptr) return;
  const std::string text = requireText(*clickAction);
  std::string scheme = text.substr(0, text.find(':'));
  for (char& c : scheme) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  const bool isWeb = text.size() > scheme.size() && (scheme == "http" || scheme == "https");
  const auto url = platform::URL::URLWithString(text);
  if (isWeb && url) outcome.opened.push_back(url->absoluteString());
}

/// The addInfo and the id in it, if both exist. Throws WrongKind.
inline std::optional<std::pair<Value, Value>> identified(const Value& payload) {
  const Value* text = search("addInfo", payload);
  const std::optional<Value> addInfo = text != nullptr ? decoded(requireText(*text)) : std::nullopt;
  if (!addInfo) return std::nullopt;
  const Value* number = requireDictionary(*addInfo).find("pellionPnID");
  if (number == nullptr) return std::nullopt;
  if (!number->isNumber() && !number->ifString()) throw WrongKind();
  if (number->integerValue() < 1) return std::nullopt;
  return std::pair(*addInfo, *number);
}

template <class Happen>
Outcome outcomeOf(const Value& payload, Happen happen) {
  Outcome outcome;
  try {
    if (const auto found = identified(payload)) happen(found->first, found->second, outcome);
  } catch (const WrongKind&) {
    outcome.raised = true;
  }
  return outcome;
}

inline Outcome outcomeOfDelivery(const Value& payload) {
  return outcomeOf(payload, [](const Value&, const Value& number, Outcome& outcome) {
    outcome.sent.push_back(Value::dictionary({{"notificationid", number}, {"status", 4}}));
  });
}

inline const Value& buttonOf(const Value& addInfo, std::string_view action) {
  const Value* buttons = search("actionButton", addInfo);
  if (buttons == nullptr || buttons->ifList() == nullptr) throw WrongKind();
  for (const Value& button : buttons->elements()) {
    const Value* own = requireDictionary(button).find("action");
    if (own != nullptr && requireText(*own) == action) return button;
  }
  throw WrongKind();  // such a response has nothing to record
}

inline Outcome outcomeOfResponse(const Value& payload, std::string_view action) {
  return outcomeOf(payload, [action](const Value& addInfo, const Value& number, Outcome& outcome) {
    if (const Value* goal = addInfo.find("conversion")) {
      for (const char* part : {"group", "event"}) {
        if (const Value* text = requireDictionary(*goal).find(part)) requireText(*text);
      }
    }
    const bool isTap = action == platform::UNNotificationDefaultActionIdentifier;
    if (isTap) {
      openIfPossible(addInfo.find("clickAction"), outcome);
      outcome.sent.push_back(Value::dictionary({{"notificationid", number}, {"status", 5}}));
    } else {
      const Value& button = buttonOf(addInfo, action);
      outcome.sent.push_back(Value::dictionary({{"notificationid", number}, {"status", 5}, {"actionid", action}}));
      openIfPossible(search("clickAction", button), outcome);
    }
  });
}

/// What the notification handler opens; it never raises and searches at fixed places.
inline std::optional<std::string> clickActionOfResponse(const Value& payload, std::string_view action) {
  const auto text = [](const Value* value) {
    return value != nullptr && value->ifString() ? std::optional(std::string(value->text())) : std::nullopt;
  };
  const Value* found = payload.find("addInfo");
  const std::optional<Value> addInfo = found == nullptr    ? std::nullopt
                                       : found->ifString() ? decoded(found->text())
                                                           : std::optional(*found);
  if (!addInfo || addInfo->ifDictionary() == nullptr) return std::nullopt;
  if (action == platform::UNNotificationDismissActionIdentifier) return std::nullopt;
  const Value* buttons = addInfo->find("actionButton");
  if (action != platform::UNNotificationDefaultActionIdentifier && buttons != nullptr) {
    for (const Value& button : buttons->elements()) {
      if (text(button.find("action")) == action) return text(button.find("clickAction"));
    }
  }
  return text(addInfo->find("clickAction"));
}

}  // namespace fuzz

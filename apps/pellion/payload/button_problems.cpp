#include "pellion/payload/button_problems.h"

#include <algorithm>

#include "messaging/PLMessaging.h"
#include "pellion/text/json_writer.h"
#include "platform/exception.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Value;

/// The edit that makes a single button a list.
std::vector<Edit> listed(const Payload& payload) {
  const Value& button = *payload.buttons();
  if (button.find("action") == nullptr) return {};
  return {{true, *payload.buttonsPath, Value::list({button})}};
}

}  // namespace

Problems buttonProblems(const Payload& payload) {
  const Value* buttons = payload.buttons();
  if (buttons == nullptr) return {};
  if (buttons->ifList() == nullptr) {
    return {{"buttons-not-a-list",
             {true, *payload.buttonsPath},
             "\"actionButton\" " + beingOf(*buttons) + ", which raises on every response but a tap",
             "write a list of buttons: " + (buttons->find("action") == nullptr
                                                ? R"([{"action": "later"}])"
                                                : shortened(compactJSON(Value::list({*buttons})))),
             {},
             Level::error,
             listed(payload)}};
  }
  Problems problems;
  for (std::size_t i = 0; i < buttons->elements().size(); ++i) {
    const Value& button = buttons->elements()[i];
    const Spot spot{true, joined(*payload.buttonsPath, i)};
    const Value* action = button.find("action");
    const Spot actionSpot{true, joined(spot.path, "action")};
    if (button.ifDictionary() == nullptr) {
      problems.push_back({"button-not-an-object", spot,
                          "the button " + beingOf(button) + ", which raises for this and later buttons",
                          R"(write an object: {"action": "later"})"});
    } else if (action == nullptr) {
      problems.push_back(
          {"button-without-action", spot, "the button has no \"action\", so no tap is ever found to be its",
           "give it the identifier under which the application registers the button: \"action\": \"later\"", "action"});
    } else if (!action->ifString()) {
      problems.push_back({"button-action-not-text", actionSpot,
                          "\"action\" " + beingOf(*action) + ", which raises for this and later buttons",
                          "give it the button's identifier, a text"});
    } else if (const auto first = buttonIndex(payload, action->text()); first && *first != i) {
      problems.push_back({"button-action-repeated", actionSpot,
                          "another button has the action " + inQuotes(action->text()) +
                              ", and taps on either count as taps on " + pathText(joined(*payload.buttonsPath, *first)),
                          "give each button an action of its own"});
    }
  }
  return problems;
}

Problem missingButtonProblem(const Payload& payload, std::string_view identifier) {
  Problem problem{"action-unknown",
                  {true, {}},
                  "addInfo has no \"actionButton\", and without a button the entry cannot be built, which raises",
                  ""};
  if (payload.buttons() == nullptr) return problem;
  problem.spot.path = *payload.buttonsPath;
  for (const Problem& each : buttonProblems(payload)) {
    if (each.code != "button-without-action" && each.code != "button-action-repeated") return each;
  }
  const bool isDismissal = identifier == platform::UNNotificationDismissActionIdentifier;
  problem.text = "no button has the action " +
                 (isDismissal ? "of a dismissal, " + std::string(identifier) : inQuotes(identifier)) +
                 ", and without a button the entry cannot be built, which raises";
  return problem;
}

std::vector<std::string> buttonIdentifiers(const Payload& payload) {
  std::vector<std::string> identifiers;
  if (payload.buttons() == nullptr) return identifiers;
  for (const Value& button : payload.buttons()->elements()) {
    const Value* action = button.find("action");
    if (action == nullptr || !action->ifString()) continue;
    if (std::ranges::find(identifiers, action->text()) == identifiers.end()) identifiers.emplace_back(action->text());
  }
  return identifiers;
}

std::optional<JSONPath> buttonLinkPath(const Payload& payload, std::size_t button) {
  const Value& element = payload.buttons()->elements()[button];
  if (element.ifDictionary() == nullptr) return std::nullopt;
  const Value* link = PLMessaging::shared().findValueForKey("clickAction", &element);
  if (link == nullptr) return std::nullopt;
  return joined(joined(*payload.buttonsPath, button), *pathTo(element, link));
}

std::optional<std::size_t> buttonIndex(const Payload& payload, std::string_view identifier) {
  const Value* buttons = payload.buttons();
  if (buttons == nullptr) return std::nullopt;
  try {
    const Value text(identifier);
    const Value* button = PLMessaging::shared().getActionButtonById(&text, buttons);
    if (button == nullptr) return std::nullopt;
    return static_cast<std::size_t>(button - buttons->elements().data());
  } catch (const platform::Exception&) {  // raised for an earlier button
    return std::nullopt;
  }
}

}  // namespace pellion

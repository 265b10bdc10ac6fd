#include "pellion/explain/explain_problems.h"

#include <algorithm>
#include <cmath>

#include "host/phone/ui_application.h"
#include "messaging/PLMessaging.h"
#include "pellion/document/json_writer.h"
#include "pellion/document/text_width.h"
#include "platform/exception.h"
#include "platform/ui_application.h"
#include "platform/url.h"
#include "platform/user_notifications.h"
#include "services/url_components.h"
#include "value/utf8.h"

namespace pellion {
namespace {

using platform::Value;

std::string shortened(const std::string& text, std::size_t longest) {
  return text.size() <= longest ? text : std::string(beginning(text, longest)) + "\u2026";
}

bool isWholeNumber(const Value& value) {
  if (value.kind() == Value::Kind::integer) return true;
  if (value.kind() == Value::Kind::floating) return std::trunc(value.floating()) == value.floating();
  std::string_view digits = value.text();
  if (digits.starts_with('-')) digits.remove_prefix(1);
  return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

/// The text around a position.
std::string surroundings(std::string_view text, Position position) {
  constexpr std::size_t before = 16;
  constexpr std::size_t after = 12;
  std::size_t offset = 0;
  for (int line = 1; line < position.line; ++line) offset = text.find('\n', offset) + 1;
  for (int column = 1; column < position.column && offset < text.size(); ++column) value::nextCharacter(text, offset);
  std::size_t start = offset - std::min(offset, before);
  while (start < offset && (text[start] & 0xC0) == 0x80) ++start;
  return std::to_string(position.line) + ":" + std::to_string(position.column) + " in it, after " +
         inQuotes(text.substr(start, offset - start)) + " and before " +
         inQuotes(beginning(text.substr(offset), after));
}

/// The problem of a text that the module cannot read.
Problem unreadableTextProblem(const Payload& payload, const Spot& spot) {
  const std::string_view text = payload.addInfo->text();
  if (payload.textProblem) {
    constexpr std::string_view notJSON = "not JSON: ";
    std::string_view reason = payload.textProblem->text();
    if (reason.starts_with(notJSON)) reason.remove_prefix(notJSON.size());
    return {"addinfo-not-json", spot,
            "the text of \"addInfo\" is not JSON: " + std::string(reason) + ", at " +
                surroundings(text, payload.textProblem->position()),
            "let a JSON library write the text, not a template or a hand"};
  }
  const Value inner = readJSON("", text).value;
  if (inner.ifString()) {
    return {"addinfo-encoded-twice", spot, "the text of \"addInfo\" is the JSON text of another text, not of an object",
            "encode the object once: \"addInfo\": " + shortened(inQuotes(inner.text()), 60)};
  }
  return {"addinfo-not-object", spot, "the text of \"addInfo\" " + beingOf(inner) + "; that is no object",
          R"(make it the JSON text of an object: "addInfo": "{\"pellionPnID\":41}")"};
}

std::optional<Problem> halfProblem(const Value& conversion, const char* half, const Spot& goal) {
  const Spot spot{true, joined(goal.path, half)};
  const Value* value = conversion.find(half);
  if (value != nullptr && !value->ifString()) {
    return Problem{"goal-not-text", spot,
                   inQuotes(half) + " of the goal " + beingOf(*value) + ", which raises on every response",
                   "give it a text"};
  }
  if (value != nullptr && !value->text().empty()) return std::nullopt;
  return Problem{"goal-incomplete", value != nullptr ? spot : goal,
                 value != nullptr ? "the goal has an empty " + inQuotes(half)
                                  : "the goal has no " + inQuotes(half) + ", so \"(null)\" stands in its place",
                 "give \"conversion\" both \"group\" and \"event\"", half};
}

/// The problem of a link outside RFC 3986: its URL depends on the release that the application was linked with.
std::optional<Problem> encodingProblem(const Value& link, const Spot& spot) {
  const auto url = link.ifString() ? platform::URL::URLWithString(link.text()) : std::nullopt;
  if (!url || url->absoluteString() == link.text()) return std::nullopt;
  const auto escapedPercents = [](std::string_view text) {
    std::size_t count = 0;
    for (auto at = text.find("%25"); at != std::string_view::npos; at = text.find("%25", at + 1)) ++count;
    return count;
  };
  const bool escapesMore = escapedPercents(url->absoluteString()) > escapedPercents(link.text());
  return Problem{"link-not-encoded", spot,
                 shortened(inQuotes(link.text()), 60) +
                     " is outside RFC 3986: applications linked before release 17 get no URL; later ones get " +
                     shortened(inQuotes(url->absoluteString()), 60) +
                     (escapesMore ? ", in which \"%\" has become \"%25\"" : ""),
                 "percent-encode in the payload what a URL cannot hold, such as %20 for a space"};
}

}  // namespace

std::string inQuotes(std::string_view text) { return compactJSON(text); }

std::string beingOf(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::list: return "is a list";
    case Value::Kind::dictionary: return "is an object";
    default: return "is " + shortened(compactJSON(value), 40);
  }
}

std::optional<Problem> addInfoProblem(const Payload& payload) {
  if (payload.addInfo == nullptr) {
    return Problem{"addinfo-missing",
                   {},
                   "nothing that the search meets in the payload is named \"addInfo\"",
                   R"(give the payload "addInfo": "{\"pellionPnID\":41}", the JSON text of an object)",
                   "addInfo"};
  }
  const Spot spot{false, payload.addInfoPlaces.front()};
  if (payload.addInfo->ifDictionary() != nullptr) {
    return Problem{"addinfo-object", spot, "\"addInfo\" is an object, and reading it as JSON text raises",
                   "write the object as text: \"addInfo\": " + shortened(inQuotes(compactJSON(*payload.addInfo)), 60)};
  }
  if (!payload.addInfo->ifString()) {
    return Problem{"addinfo-not-text", spot,
                   "\"addInfo\" " + beingOf(*payload.addInfo) + ", and reading it as JSON text raises",
                   R"(make it the JSON text of an object: "addInfo": "{\"pellionPnID\":41}")"};
  }
  if (!payload.content) return unreadableTextProblem(payload, spot);
  if (payload.info() != nullptr) return std::nullopt;
  return Problem{"addinfo-not-object", spot,
                 "the text of \"addInfo\" holds a list, which raises where an object is read",
                 "write the object without the list around it"};
}

std::optional<Problem> idProblem(const Payload& payload) {
  const Value* id = payload.info()->find("pellionPnID");
  if (id == nullptr) {
    return Problem{"id-missing",
                   {true, {}},
                   "addInfo has no \"pellionPnID\" at its top level",
                   "give it the notification's id, a number from 1: \"pellionPnID\": 41",
                   "pellionPnID"};
  }
  const Spot spot{true, {"pellionPnID"}};
  constexpr const char* remedy = "give it the notification's id, a number from 1, such as 41";
  if (!id->isNumber() && !id->ifString()) {
    return Problem{"id-not-a-number", spot, "\"pellionPnID\" " + beingOf(*id) + ", and reading it as a number raises",
                   remedy};
  }
  const std::int64_t number = id->integerValue();
  const bool isWhole = isWholeNumber(*id);
  if (isWhole && number >= 1) return std::nullopt;
  const std::string reading = *id == Value(number) ? "" : ", which is read as the number " + std::to_string(number);
  const char* fault = number < 1 ? "ids begin with 1" : "what is recorded is the value as it stands";
  return Problem{isWhole ? "id-below-one" : "id-not-a-number", spot,
                 "\"pellionPnID\" " + beingOf(*id) + reading + "; " + fault, remedy};
}

std::optional<Problem> goalProblem(const Payload& payload) {
  const Value* conversion = payload.info()->find("conversion");
  if (conversion == nullptr) return std::nullopt;
  const Spot spot{true, {"conversion"}};
  if (conversion->ifDictionary() == nullptr) {
    return Problem{"goal-not-an-object", spot,
                   "\"conversion\" " + beingOf(*conversion) + ", which raises on every response",
                   R"(write {"group": "shop", "event": "purchase"}, or leave it out)"};
  }
  auto problem = halfProblem(*conversion, "group", spot);
  return problem ? problem : halfProblem(*conversion, "event", spot);
}

std::optional<Problem> linkProblem(const Value& link, const Spot& spot) {
  if (!link.ifString()) {
    return Problem{"link-not-text", spot, "\"clickAction\" " + beingOf(link) + ", and opening it raises",
                   "give it a URL as text, or leave it out"};
  }
  const std::string text = shortened(inQuotes(link.text()), 60);
  const auto url = platform::URL::URLWithString(link.text());
  if (!url) {
    return Problem{"link-not-a-url", spot, text + " forms no URL",
                   "write an absolute URL; what it cannot hold, such as a space, is percent-encoded: %20"};
  }
  if (platform::UIApplication::canOpenURL(*url)) return std::nullopt;
  const std::optional<std::string> scheme = services::urlScheme(url->absoluteString());
  if (!scheme) {
    return Problem{"link-without-scheme", spot, text + " has no scheme, and nobody opens it",
                   "write the whole URL, as in https://example.com/sale"};
  }
  const std::string opens = host::UIApplication::isInstalled(*scheme)
                                ? ", so that only the notification handler opens it"
                                : " and nothing else installed opens";
  return Problem{
      "link-scheme-undeclared", spot,
      text + " needs the scheme \"" + *scheme + "\", which the application does not declare" + opens,
      "if the application does declare it, say --scheme " + *scheme + "; else declare it there, or use https"};
}

std::vector<Problem> linkProblems(const Payload& payload) {
  std::vector<Problem> problems;
  const auto add = [&](const JSONPath& path) {
    const Value& link = nodeAt(*payload.content, path).value;
    for (const auto& problem : {linkProblem(link, {true, path}), encodingProblem(link, {true, path})}) {
      if (problem) problems.push_back(*problem);
    }
  };
  if (payload.info()->find("clickAction") != nullptr) add({"clickAction"});
  const std::size_t count = payload.buttons() != nullptr ? payload.buttons()->elements().size() : 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (const auto path = buttonLinkPath(payload, i)) add(*path);
  }
  return problems;
}

std::vector<Problem> buttonProblems(const Payload& payload) {
  const Value* buttons = payload.buttons();
  if (buttons == nullptr) return {};
  if (buttons->ifList() == nullptr) {
    return {{"buttons-not-a-list",
             {true, *payload.buttonsPath},
             "\"actionButton\" " + beingOf(*buttons) + ", which raises on every response but a tap",
             R"(write a list of buttons: [{"action": "later"}])"}};
  }
  std::vector<Problem> problems;
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
  Problem problem{
      "button-unknown", {true, {}}, "addInfo has no \"actionButton\", and without a button there is no entry", ""};
  if (payload.buttons() == nullptr) return problem;
  for (const Problem& each : buttonProblems(payload)) {
    if (each.code != "button-without-action" && each.code != "button-action-repeated") return each;
  }
  const bool isDismissal = identifier == platform::UNNotificationDismissActionIdentifier;
  problem.text = "no button has the action " +
                 (isDismissal ? "of a dismissal, " + std::string(identifier) : inQuotes(identifier)) +
                 ", and without a button there is no entry";
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

#include "pellion/timeline/application_text.h"

#include <algorithm>

#include "pellion/document/application_description.h"

namespace pellion {
namespace {

using platform::Value;

Span nameOf(const Value& details) {
  const Value& name = at(details, "name");
  return {name.isNull() ? "nobody" : textOf(name), Ink::strong};
}

std::string delegateOf(const Value& details) {
  return at(details, "of") == Value("application") ? "the application's delegate"
                                                   : "the notification center's delegate";
}

/// "banner, sound"
std::string joined(const Value& texts) {
  std::string text;
  for (const Value& each : texts.elements()) text.append(text.empty() ? "" : ", ").append(textOf(each));
  return text.empty() ? "nothing" : text;
}

/// The text for what the callback with that entry in the table reports.
template <class T>
std::string newsOf(const std::string& text, T CallbackKind::*entry) {
  const auto kind =
      std::ranges::find_if(callbackKinds(), [&](const CallbackKind& each) { return each.*entry == text; });
  return kind == callbackKinds().end() ? text : std::string(kind->news);
}

}  // namespace

Lines wasCalled(const Value& details) {
  const bool passesOn = at(details, "passesOn") == Value(true);
  return {{nameOf(details),
           {" hears of " + newsOf(textAt(details, "callback"), &CallbackKind::name)},
           {passesOn ? " and passes it on" : ""}}};
}

Lines answered(const Value& details) {
  const Value& answer = at(details, "answer");
  if (answer.isNull()) return {{nameOf(details), {" is done with the response"}}};
  return {
      {nameOf(details), {" answers "}, {answer.ifList() ? "to show " + joined(answer) : textOf(answer), Ink::good}}};
}

Lines rewired(const Value& details) {
  const std::string way = textAt(details, "does");
  const std::string methods = joined(at(details, "callbacks"));
  if (way == "reassigns") return {{nameOf(details), {" clears " + delegateOf(details) + " and sets it again"}}};
  if (way == "replaces")
    return {{nameOf(details), {" replaces in the class of " + delegateOf(details) + ": " + methods}}};
  if (way == "exchanges")
    return {{nameOf(details), {" exchanges with its own, in the class of " + delegateOf(details) + ": " + methods}}};
  return {{nameOf(details), {" makes " + delegateOf(details) + " one of a subclass, which overrides: " + methods}}};
}

Lines setsDelegate(const Value& details) { return {{{"makes "}, nameOf(details), {" " + delegateOf(details)}}}; }

Lines startsService(const Value& /*details*/) { return {{{"starts the messaging service"}}}; }

Lines registersInterceptor(const Value& details) {
  const bool isRefused = at(details, "isRefused") == Value(true);
  return {{{"registers the interceptor "}, nameOf(details), {isRefused ? ", which is refused" : "", Ink::bad}}};
}

Lines unregistersInterceptor(const Value& details) { return {{{"unregisters the interceptor "}, nameOf(details)}}; }

Lines released(const Value& details) {
  const bool isGone = at(details, "isGone") == Value(true);
  return {{{"lets go of "}, nameOf(details), {isGone ? ", which is gone" : ", which somebody else keeps"}}};
}

Lines asksForToken(const Value& /*details*/) { return {{{"asks for a device token"}}}; }

Lines unheard(const Value& details) {
  return {{{"finds no delegate that hears of ", Ink::bad},
           {newsOf(textAt(details, "callback"), &CallbackKind::selector), Ink::bad}}};
}

Lines fetched(const Value& details) {
  const auto result = static_cast<std::uint64_t>(at(details, "result").integer());
  return {{{"takes the fetch result "}, {textOf(fetchResultName(result)), Ink::good}}};
}

Lines presents(const Value& details) {
  const auto options = static_cast<std::uint64_t>(at(details, "options").integer());
  return {{{"shows "}, {joined(presentationNames(options)), Ink::good}}};
}

}  // namespace pellion

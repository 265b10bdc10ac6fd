#include "pellion/timeline/event_text_table.h"

#include <algorithm>

#include "pellion/document/application_description.h"

namespace pellion {
namespace {

using platform::Value;

Span nameOf(const Value& details) {
  const Value& name = at(details, "name");
  return {name.isNull() ? "nil" : textOf(name), Ink::strong};
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
std::string subjectOf(const std::string& text, T CallbackKind::*entry) {
  const auto kind =
      std::ranges::find_if(callbackKinds(), [&](const CallbackKind& each) { return each.*entry == text; });
  return kind == callbackKinds().end() ? text : std::string(kind->subject);
}

Lines wasCalled(const Value& details) {
  const bool passesOn = at(details, "passesOn") == Value(true);
  return {{nameOf(details),
           {" receives " + subjectOf(textAt(details, "callback"), &CallbackKind::name)},
           {passesOn ? " and passes it on" : ""}}};
}

Lines answered(const Value& details) {
  const Value& answer = at(details, "answer");
  if (answer.isNull()) return {{nameOf(details), {" completes the response"}}};
  return {{nameOf(details),
           {answer.ifList() ? " asks to show " : " returns the fetch result "},
           {answer.ifList() ? joined(answer) : textOf(answer), Ink::good}}};
}

Lines rewired(const Value& details) {
  const std::string way = textAt(details, "does");
  const std::string methods = joined(at(details, "callbacks"));
  if (way == "reassigns") return {{nameOf(details), {" clears " + delegateOf(details) + " and sets it again"}}};
  if (way == "replaces")
    return {{nameOf(details), {" replaces methods in the class of " + delegateOf(details) + ": " + methods}}};
  if (way == "exchanges")
    return {
        {nameOf(details), {" exchanges methods in the class of " + delegateOf(details) + " with its own: " + methods}}};
  return {{nameOf(details),
           {" changes the class of " + delegateOf(details) + " to a subclass that overrides: " + methods}}};
}

Lines setsDelegate(const Value& details) { return {{{"sets " + delegateOf(details) + " to "}, nameOf(details)}}; }

Lines startsService(const Value& /*details*/) { return {{{"starts the messaging service"}}}; }

Lines registersInterceptor(const Value& details) {
  const bool isRefused = at(details, "isRefused") == Value(true);
  return {{{"registers the interceptor "}, nameOf(details), {isRefused ? ", which is refused" : "", Ink::bad}}};
}

Lines unregistersInterceptor(const Value& details) { return {{{"unregisters the interceptor "}, nameOf(details)}}; }

Lines released(const Value& details) {
  const bool isGone = at(details, "isGone") == Value(true);
  return {{{"releases "}, nameOf(details), {isGone ? ", which is deallocated" : ", which another object still holds"}}};
}

Lines asksForToken(const Value& /*details*/) { return {{{"asks for a device token"}}}; }

Lines undelivered(const Value& details) {
  return {{{"finds no delegate with a method for ", Ink::bad},
           {subjectOf(textAt(details, "callback"), &CallbackKind::selector), Ink::bad}}};
}

Lines fetched(const Value& details) {
  return {{{"receives the fetch result "}, {textAt(details, "result"), Ink::good}}};
}

Lines presents(const Value& details) { return {{{"shows "}, {joined(at(details, "options")), Ink::good}}}; }

constexpr EventText applicationRows[] = {
    {"app", "called", wasCalled},
    {"app", "answered", answered},
    {"app", "rewired", rewired},
    {"app", "sets delegate", setsDelegate},
    {"app", "starts service", startsService},
    {"app", "registers interceptor", registersInterceptor},
    {"app", "unregisters interceptor", unregistersInterceptor},
    {"app", "releases", released},
    {"app", "asks for a device token", asksForToken},
    {"platform", "undelivered", undelivered},
    {"platform", "fetched", fetched},
    {"platform", "presents", presents},
};

}  // namespace

std::span<const EventText> applicationTexts() { return applicationRows; }

}  // namespace pellion

#include "pellion/timeline/event_text_table.h"

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"
#include "platform/json_serialization.h"

namespace pellion {
namespace {

using platform::Value;

/// The beginning of a text of any length.
std::string elided(std::string text) {
  constexpr std::size_t longest = 160;
  if (text.size() <= longest) return text;
  std::size_t length = longest;
  while ((static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80) --length;  // not inside a character
  const std::string size = std::to_string(text.size());
  text.resize(length);
  return text + "\u2026 (" + size + " bytes)";
}

/// The object in a JSON text; null for anything else.
Value objectIn(const Value& text) {
  if (text.text().empty()) return {};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.text().data());
  const auto json = platform::JSONSerialization::JSONObjectWithData({bytes, text.text().size()}, nullptr);
  return json && json->ifDictionary() != nullptr ? *json : Value();
}

/// A payload in columns, with the JSON text of an addInfo expanded, because it contains all that matters.
void appendPayload(Lines& lines, const Value& payload) {
  const std::size_t width = widthOfNames(entriesOf(payload)) + 2;
  if (payload.entries().empty()) lines.push_back({{"(an empty payload)", Ink::faint}});
  for (const auto& [key, value] : payload.entries()) {
    const Span name{padded(printable(key.description()), width), Ink::faint};
    const Value object = objectIn(value);
    if (object.entries().empty()) lines.push_back({name, {elided(compactJSON(value))}});
    const std::size_t inner = widthOfNames(entriesOf(object)) + 2;
    for (const Value::Entry& entry : object.entries()) {
      lines.push_back({&entry == object.entries().data() ? name : Span{padded("", width)},
                       {padded(printable(entry.key.description()), inner), Ink::faint},
                       {elided(compactJSON(entry.value))}});
    }
  }
}

Span notificationName(const Value& details) {
  const Value& name = at(details, "notification");
  return {name.isNull() ? "a notification" : compactJSON(name), Ink::strong};
}

/// A first line, and the notification's content if the event contains it.
Lines withPayload(Line first, const Value& details) {
  Lines lines{std::move(first)};
  if (const Value* payload = details.find("payload")) appendPayload(lines, *payload);
  return lines;
}

Lines delivered(const Value& details) {
  return withPayload({{"delivers "}, notificationName(details), {" in the " + textAt(details, "in")}}, details);
}

Lines shownWithoutApplication(const Value& details) {
  return withPayload({{"shows "}, notificationName(details), {"; the application is not notified"}}, details);
}
Lines dismissedWithoutApplication(const Value& details) {
  return {{{"dismisses "}, notificationName(details), {"; the application is not notified"}}};
}

Lines responded(const Value& details) {
  const std::string action = textAt(details, "with");
  if (action == "tap") return withPayload({{"taps "}, notificationName(details)}, details);
  if (action == "dismiss") return withPayload({{"dismisses "}, notificationName(details)}, details);
  return withPayload({{"presses the button "}, {compactJSON(action), Ink::strong}, {" of "}, notificationName(details)},
                     details);
}

Lines handlesResponse(const Value& details) {
  const std::string action = textAt(details, "with");
  const std::string what = action == "tap"       ? "the tap on "
                           : action == "dismiss" ? "the dismissal of "
                                                 : "the button " + compactJSON(action) + " of ";
  return withPayload({{"passes " + what}, notificationName(details), {" to the notification handler"}}, details);
}

Lines completedResponse(const Value& /*details*/) { return {{{"receives the completion of the response"}}}; }

Lines openedURL(const Value& details) {
  const bool isOnMainThread = at(details, "calledOnMainThread") == Value(true);
  return {{{"opens "},
           {textAt(details, "url"), Ink::good},
           {isOnMainThread ? "" : "  (called on a thread other than the main thread)", Ink::bad}}};
}
Lines refusedURL(const Value& details) {
  return {{{"cannot open "}, {textAt(details, "url"), Ink::bad}, {": no installed application opens it"}}};
}

Lines setsBadge(const Value& details) {
  const bool isApplications = at(details, "through") == Value("application");
  return {{{"sets the badge to " + textAt(details, "count") + " through the " +
            (isApplications ? "application object" : "notification center")}}};
}
Lines shownBadge(const Value& details) { return {{{"shows the badge "}, {textAt(details, "number"), Ink::good}}}; }

Lines reportedGoal(const Value& details) { return {{{"reports the event "}, {textAt(details, "name"), Ink::strong}}}; }
Lines sessionEnded(const Value& details) {
  const bool hasDuration = details.find("duration") != nullptr;
  return {{{"reports the end of a session, "},
           {hasDuration ? "duration " + textAt(details, "duration") : "without a duration"}}};
}
Lines becameActive(const Value& /*details*/) { return {{{"becomes active"}}}; }

Lines leftEntries(const Value& details) {
  const std::size_t count = at(details, "entries").elements().size();
  return {{{"leaves " + std::to_string(count) + (count == 1 ? " entry" : " entries") + " for the application"}}};
}
Lines readBadge(const Value& details) {
  if (at(details, "badge").isNull()) return {{{"finds no badge"}}};
  return {{{"reads the badge "}, {textAt(details, "badge"), Ink::good}}};
}

Lines sharedStored(const Value& details) {
  Lines lines{{{"stores "}, {textAt(details, "key")}}};
  const Value& value = at(details, "value");
  if (value.elements().empty()) lines.push_back({{elided(textOf(value)), Ink::good}});
  for (const Value& element : value.elements()) lines.push_back({{elided(textOf(element)), Ink::good}});
  return lines;
}
Lines storeFailed(const Value& details) { return {{{"fails: "}, {textAt(details, "problem"), Ink::bad}}}; }

Lines raised(const Value& details) {
  return {{{"raises " + textAt(details, "name"), Ink::bad}}, {{textAt(details, "reason"), Ink::bad}}};
}

constexpr EventText notificationRows[] = {
    {"app", "active", becameActive},
    {"app", "sets badge", setsBadge},
    {"app", "handles response", handlesResponse},
    {"platform", "response completed", completedResponse},
    {"platform", "delivered", delivered},
    {"platform", "shown without application", shownWithoutApplication},
    {"user", "dismissed without application", dismissedWithoutApplication},
    {"platform", "opened URL", openedURL},
    {"platform", "refused URL", refusedURL},
    {"platform", "set badge", shownBadge},
    {"user", "responded", responded},
    {"core library", "goal", reportedGoal},
    {"core library", "session ended", sessionEnded},
    {"extension", "leaves", leftEntries},
    {"extension", "reads badge", readBadge},
    {"shared store", "stored", sharedStored},
    {"shared store", "failed", storeFailed},
    {"module", "raised", raised},
    {"extension", "raised", raised},
    {"keychain", "failed", storeFailed},
};

}  // namespace

std::span<const EventText> notificationTexts() { return notificationRows; }

}  // namespace pellion

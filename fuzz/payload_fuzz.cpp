#include <algorithm>
#include <array>

#include "fuzz/payload_rules.h"
#include "fuzz/phone.h"
#include "messaging/PLNotificationHandler.h"
#include "platform/notification_center.h"

// Sends a notification's payload, as JSON text, through a phone: delivered in foreground and background, tapped,
// dismissed, each button pressed. If it holds its addInfo as an object, also runs it with that as text.

namespace fuzz {
namespace {

constexpr const char* tap = platform::UNNotificationDefaultActionIdentifier;

/// Belongs to the thread, so that it is destroyed before the thread's autorelease pools.
Phone& phone() {
  thread_local Phone phone;
  return phone;
}

void requireOutcome(const Outcome& outcome, Happenings happenings, const Value& payload) {
  for (Value& entry : happenings.sent) {
    std::vector<Value::Entry> fields(entry.entries().begin(), entry.entries().end());
    require(std::erase_if(fields, [](const Value::Entry& field) { return field.key == Value("timestamp"); }) == 1,
            "an entry has a timestamp", entry.description());
    entry = Value::dictionary(fields);
  }
  require(outcome.raised == happenings.raised, "only values of the wrong kind raise", payload.description());
  require(outcome.sent == happenings.sent, "the entries are those of the payload", payload.description(),
          Value::list(outcome.sent).description(), Value::list(happenings.sent).description());
  require(outcome.opened == happenings.opened, "the opened URLs are those of the payload", payload.description());
}

void deliver(const Value& payload) {
  const Outcome outcome = outcomeOfDelivery(payload);
  for (const auto& delivery : {host::deliverInForeground, host::deliverInBackground}) {
    const Happenings happenings = phone().observe([&] { delivery(payload); });
    requireOutcome(outcome, happenings, payload);
    const std::size_t answers = outcome.raised ? 0 : 1;
    require(happenings.results.size() == answers && happenings.callbacks == static_cast<int>(answers),
            "the application receives it once, and the platform one result", payload.description());
  }
}

void respond(const Value& payload, const std::string& action) {
  const Outcome outcome = outcomeOfResponse(payload, action);
  const Happenings automatic = phone().observe([&] { host::deliverResponse(payload, action); });
  requireOutcome(outcome, automatic, payload);
  const int answers = outcome.raised ? 0 : 1;
  require(automatic.callbacks == answers && automatic.completed == answers, "the response is completed once",
          payload.description());

  const std::optional<std::string> clickAction = clickActionOfResponse(payload, action);
  int completed = 0;
  const Happenings handled = phone().observe([&] {
    const platform::Strong response = host::makeNotificationResponse(payload, action);
    const platform::Block<void()> completion([&completed] { ++completed; });
    PLNotificationHandler::shared().handleNotificationResponse(response.get(), completion.get());
  });
  std::vector<std::string> opened;
  const auto url = clickAction ? platform::URL::URLWithString(*clickAction) : std::nullopt;
  if (url) opened.push_back(url->absoluteString());
  require(!handled.raised && completed == 1, "the handler never raises and completes once", payload.description());
  require(handled.opened == opened, "the handler opens the URL that it resolves", payload.description(), action);
  const bool isAtTop = search("addInfo", payload) == payload.find("addInfo");
  require(action != tap || !isAtTop || automatic.opened.empty() || automatic.opened == handled.opened,
          "the handler opens the URL that the automatic path opens for a tap", payload.description());
}

/// An event with the goal's name converts once; the next one does not. Without an id, the event raises instead. The
/// goal "" stays reached and converts each time.
void reachGoal(const Value& payload) {
  const PLMessaging& messaging = PLMessaging::shared();
  const std::optional<std::string> goal = messaging.conversionEvent();
  const std::optional<Value> number = messaging.pnID();
  for (const bool isFirst : {true, false}) {
    const Value report = Value::dictionary({{"action", "event"}, {"name", goal.value_or("")}});
    const Happenings happenings = phone().observe([&] { host::announceEngagement(report); });
    const bool matches = goal && (isFirst || goal->empty());
    require(happenings.raised == (matches && !number), "an event without an id raises", payload.description());
    require(happenings.sent.size() == (matches && number ? 1 : 0), "a goal is reached once", payload.description());
    require(happenings.sent.empty() || *happenings.sent.front().find("notificationid") == *number,
            "a conversion has the last id");
    require(messaging.conversionEvent() == (goal ? std::optional<std::string>("") : std::nullopt),
            "a goal that is reached is removed", payload.description());
  }
}

/// Restarts the application from time to time, because it remembers every id. Every other time a session ends first, so
/// that the goal is "" before there is an id.
void relaunchSometimes() {
  static int runs = 0;
  if (runs++ % 256 != 0) return;
  phone().launch();
  const host::ProcessScope scope(*phone()->process());
  if (runs % 512 == 1) host::announceEngagement(Value::dictionary({{"action", "session"}, {"duration", 1}}));
  reachGoal(Value::dictionary({}));
}

void requireSameSearch(const Value& payload) {
  for (const char* key : {"addInfo", "pellionPnID", "clickAction", "actionButton", "action", "a", ""}) {
    require(PLMessaging::shared().findValueForKey(key, &payload) == search(key, payload),
            "the search finds the same as a recursive search", key, payload.description());
  }
}

/// The actions of the first few buttons, and one that does not exist.
std::vector<std::string> actionsOf(const Value& payload) {
  std::vector<std::string> actions{tap, platform::UNNotificationDismissActionIdentifier, "unknown"};
  const Value* addInfo = search("addInfo", payload);
  const std::optional<Value> object = addInfo != nullptr ? decoded(addInfo->text()) : std::nullopt;
  const Value* buttons = object ? search("actionButton", *object) : nullptr;
  for (const Value& button : buttons != nullptr ? buttons->elements() : std::span<const Value>()) {
    const Value* action = button.find("action");
    if (action != nullptr && action->ifString()) actions.emplace_back(action->text());
    if (actions.size() == 6) break;
  }
  return actions;
}

void use(const Value& payload) {
  deliver(payload);
  for (const std::string& action : actionsOf(payload)) respond(payload, action);
  const host::ProcessScope scope(*phone()->process());
  requireSameSearch(payload);
  reachGoal(payload);
}

Value withAddInfoAsText(const Value& payload) {
  std::vector<Value::Entry> entries(payload.entries().begin(), payload.entries().end());
  for (auto& [key, value] : entries) {
    if (key == Value("addInfo")) value = textOf(platform::JSONSerialization::dataWithJSONObject(value).bytes());
  }
  return Value::dictionary(entries);
}

}  // namespace

void run(std::string_view input) {
  const std::optional<Value> payload = decoded(input);
  if (!payload || payload->ifDictionary() == nullptr) return;
  relaunchSometimes();
  use(*payload);
  const Value* addInfo = payload->find("addInfo");
  if (addInfo != nullptr && addInfo->ifDictionary() != nullptr) use(withAddInfoAsText(*payload));
}

}  // namespace fuzz

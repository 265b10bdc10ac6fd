#include "pellion/steps/notification_steps.h"

#include "host/phone/core_library.h"
#include "host/phone/system_events.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLNotificationHandler.h"
#include "pellion/run/scenario_phone.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/similar_name.h"
#include "platform/send.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Value;

const Field responseFields[] = {{"to", &namedNotificationShape, true}, {"with", &shapes::text}};

const Shape setterShape{"\"application\" or \"notificationCenter\"", [](const Value& value) {
                          return value == Value("application") || value == Value("notificationCenter");
                        }};
const Shape badgeCountShape{"an integer", [](const Value& value) { return isIntegerIn(value, INT64_MIN, INT64_MAX); }};
const Field badgeFields[] = {{"count", &badgeCountShape, true}, {"through", &setterShape}};
const Field sessionFields[] = {{"duration", &shapes::any}};

const Value& describedBy(const ScenarioPhone& phone, const JSONNode& notification) {
  const auto name = notification.value.ifString();
  return name ? *phone.scenario().notifications.find(*name) : notification.value;
}

Value payloadOf(const ScenarioPhone& phone, const JSONNode& notification) {
  const Value& described = describedBy(phone, notification);
  std::vector<Value::Entry> entries;
  if (const Value* payload = described.find("payload")) {
    entries.assign(payload->entries().begin(), payload->entries().end());
  }
  if (const Value* addInfo = described.find("addInfo")) entries.push_back({"addInfo", compactJSON(*addInfo)});
  return Value::dictionary(entries);
}

void handOver(ScenarioPhone& phone, const JSONNode& notification, const Value& payload) {
  const bool isWhole = describedBy(phone, notification).find("payload") != nullptr;
  phone.handsOver(notification.value.text(), payload, isWhole);
}

/// Reports a notification by its name, if it has one; its content is reported only once.
void reportNotification(ScenarioPhone& phone, const JSONNode& notification, const Value& payload,
                        std::string_view actor, std::string_view what, const Value::Entry& circumstance) {
  std::vector<Value::Entry> details{circumstance};
  const auto name = notification.value.ifString();
  if (name) details.push_back({"notification", *name});
  if (!name || phone.isNews(*name)) details.push_back({"payload", payload});
  phone.report(actor, what, Value::dictionary(details));
}

void deliverIn(std::string_view state, ScenarioPhone& phone, const JSONNode& notification,
               void (*deliver)(const Value&)) {
  const Value payload = payloadOf(phone, notification);
  handOver(phone, notification, payload);
  reportNotification(phone, notification, payload, "platform", "delivered", {"in", state});
  phone.inProcess([&] { deliver(payload); });
}

Value identifierOf(const Value& action) {
  if (action == Value("tap")) return platform::UNNotificationDefaultActionIdentifier;
  if (action == Value("dismiss")) return platform::UNNotificationDismissActionIdentifier;
  return action;
}

void answer(ScenarioPhone& phone, const JSONNode& notification, const Value& action, std::string_view actor,
            std::string_view what,
            const std::function<void(const Value& payload, const Value& actionIdentifier)>& work) {
  const Value payload = payloadOf(phone, notification);
  reportNotification(phone, notification, payload, actor, what, {"with", action});
  phone.inProcess([&] { work(payload, identifierOf(action)); });
}

void respondTo(ScenarioPhone& phone, const JSONNode& notification, const Value& action) {
  handOver(phone, notification, payloadOf(phone, notification));
  answer(phone, notification, action, "user", "responded", host::deliverResponse);
}

Value actionIn(const JSONNode& response) {
  const JSONNode* action = response.find("with");
  return action == nullptr ? Value("tap") : action->value;
}

void postEngagement(ScenarioPhone& phone, const Value& report) {
  phone.inProcess([&] { host::announceEngagement(report); });
}

}  // namespace

const Shape responseShape{"an object with the notification to respond to and the action", isObject, responseFields};
const Shape sessionEndShape{"an object", isObject, sessionFields};
const Shape badgeStepShape{"an object with the count", isObject, badgeFields};

void checkNotificationName(const Scenario& scenario, const JSONNode& notification) {
  const auto name = notification.value.ifString();
  if (!name || scenario.notifications.find(*name) != nullptr) return;
  std::vector<std::string_view> known;
  for (const auto& [key, value] : scenario.notifications.entries()) known.push_back(key.text());
  throw errorAt(scenario.file, notification.position,
                "there is no notification \"" + std::string(*name) + "\" in the scenario's \"notifications\"; " +
                    (known.empty() ? "give it one" : remedyForName(*name, known, "there are")));
}

void checkAnsweredName(const Scenario& scenario, const JSONNode& response) {
  checkNotificationName(scenario, *response.find("to"));
}

void deliver(ScenarioPhone& phone, const JSONNode& notification) {
  deliverIn("foreground", phone, notification, host::deliverInForeground);
}
void deliverInBackground(ScenarioPhone& phone, const JSONNode& notification) {
  deliverIn("background", phone, notification, host::deliverInBackground);
}

void respond(ScenarioPhone& phone, const JSONNode& response) {
  respondTo(phone, *response.find("to"), actionIn(response));
}
void tap(ScenarioPhone& phone, const JSONNode& notification) { respondTo(phone, notification, "tap"); }
void dismiss(ScenarioPhone& phone, const JSONNode& notification) { respondTo(phone, notification, "dismiss"); }

void handleResponse(ScenarioPhone& phone, const JSONNode& response) {
  const auto handle = [&phone](const Value& payload, const Value& identifier) {
    const platform::Block<void()> completion(
        [&phone] { phone.report("platform", "response completed", Value::dictionary({})); });
    const platform::Strong object = host::makeNotificationResponse(payload, identifier);
    PLNotificationHandler::shared().handleNotificationResponse(object.get(), completion.get());
  };
  answer(phone, *response.find("to"), actionIn(response), "app", "handles response", handle);
}

void reportGoal(ScenarioPhone& phone, const JSONNode& name) {
  phone.report("core library", "goal", Value::dictionary({{"name", name.value}}));
  postEngagement(phone, Value::dictionary({{"action", "event"}, {"name", name.value}}));
}

void endSession(ScenarioPhone& phone, const JSONNode& session) {
  phone.report("core library", "session ended", session.value);
  std::vector<Value::Entry> report{{"action", "session"}};
  report.insert(report.end(), session.value.entries().begin(), session.value.entries().end());
  postEngagement(phone, Value::dictionary(report));
}

void activate(ScenarioPhone& phone, const JSONNode& /*nothing*/) {
  phone.report("app", "active", Value::dictionary({}));
  phone.inProcess(host::becomeActive);
}

void setBadge(ScenarioPhone& phone, const JSONNode& badge) {
  const std::int64_t count = badge.find("count")->value.integer();
  const JSONNode* through = badge.find("through");
  const bool isApplications = through == nullptr || through->value == Value("application");
  phone.report(
      "app", "sets badge",
      Value::dictionary({{"count", count}, {"through", isApplications ? "application" : "notificationCenter"}}));
  phone.inProcess([&] {
    if (isApplications) {
      platform::send<void(std::int64_t)>(host::UIApplication::sharedApplication(),
                                         sel_registerName("setApplicationIconBadgeNumber:"), count);
    } else {
      platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
          host::currentNotificationCenter(), sel_registerName("setBadgeCount:withCompletionHandler:"), count, nullptr);
    }
  });
}

}  // namespace pellion

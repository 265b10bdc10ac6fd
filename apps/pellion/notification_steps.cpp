#include "pellion/notification_steps.h"

#include "host/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"
#include "pellion/json_writer.h"
#include "pellion/scenario_run.h"
#include "platform/notification_center.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Value;

bool isNotification(const Value& value) {
  const Value* payload = value.find("payload");
  const bool hasBoth = payload != nullptr && payload->find("addInfo") != nullptr && value.find("addInfo") != nullptr;
  return isObject(value) && !hasBoth;
}

const Shape objectShape{"an object", isObject};
const Field notificationFields[] = {{"payload", &objectShape}, {"addInfo", &objectShape}};

void checkNotification(std::string_view file, const JSONNode& node) {
  if (isObject(node.value)) checkShape(file, node, notificationShape, "a notification");
}

const Field responseFields[] = {{"to", &namedNotificationShape, true}, {"with", &shapes::text, true}};

const Shape setterShape{"\"application\" or \"notificationCenter\"", [](const Value& value) {
                          return value == Value("application") || value == Value("notificationCenter");
                        }};
const Shape countShape{"an integer", [](const Value& value) { return isIntegerIn(value, INT64_MIN, INT64_MAX); }};
const Field badgeFields[] = {{"count", &countShape, true}, {"through", &setterShape}};
const Field sessionFields[] = {{"duration", &shapes::any}};

Value payloadOf(const ScenarioRun& run, const JSONNode& notification) {
  const auto name = notification.value.ifString();
  const Value& described = name ? *run.scenario().notifications.find(*name) : notification.value;
  std::vector<Value::Entry> entries;
  if (const Value* payload = described.find("payload")) {
    entries.assign(payload->entries().begin(), payload->entries().end());
  }
  if (const Value* addInfo = described.find("addInfo")) entries.push_back({"addInfo", compactJSON(*addInfo)});
  return Value::dictionary(entries);
}

/// By its name, where it has one; what it carries is told once.
void tellOf(ScenarioRun& run, const JSONNode& notification, const Value& payload, std::string_view actor,
            std::string_view what, const Value::Entry& circumstance) {
  std::vector<Value::Entry> details{circumstance};
  const auto name = notification.value.ifString();
  if (name) details.push_back({"notification", *name});
  if (!name || run.isNews(*name)) details.push_back({"payload", payload});
  run.tell(actor, what, Value::dictionary(details));
}

void deliverIn(std::string_view state, ScenarioRun& run, const JSONNode& notification) {
  const Value payload = payloadOf(run, notification);
  tellOf(run, notification, payload, "platform", "delivered", {"in", state});
  run.inProcess([&] { PLMessaging::shared().updateLogMsgIds(&payload); });
}

Value identifierOf(const Value& action) {
  if (action == Value("tap")) return platform::UNNotificationDefaultActionIdentifier;
  if (action == Value("dismiss")) return platform::UNNotificationDismissActionIdentifier;
  return action;
}

void answer(ScenarioRun& run, const JSONNode& response, std::string_view actor, std::string_view what,
            const std::function<void(const Value& payload, id response)>& work) {
  const JSONNode& notification = notificationAnswered(response);
  const Value payload = payloadOf(run, notification);
  const Value& action = response.find("with")->value;
  tellOf(run, notification, payload, actor, what, {"with", action});
  run.inProcess([&] { work(payload, host::makeNotificationResponse(payload, identifierOf(action)).get()); });
}

/// As the core library tells of what the user does in the application.
void postEngagement(ScenarioRun& run, const Value& report) {
  run.inProcess(
      [&] { platform::NotificationCenter::postNotificationName("PLRateUsNotification", platform::boxed(report)); });
}

id classMethodResult(const char* className, const char* selector) {
  return platform::send<id()>(platform::classObject(objc_getClass(className)), sel_registerName(selector));
}

}  // namespace

const Shape notificationShape{
    "an object with what a notification carries: \"payload\", and \"addInfo\" unless the payload has one",
    isNotification, notificationFields};
const Shape namedNotificationShape{"the name of a notification, or an object with what it carries",
                                   [](const Value& value) { return value.ifString() || isObject(value); },
                                   {},
                                   nullptr,
                                   checkNotification};
const Shape responseShape{"an object with the notification that is answered and the action", isObject, responseFields};
const Shape sessionEndShape{"an object", isObject, sessionFields};
const Shape badgeStepShape{"an object with the count", isObject, badgeFields};

const JSONNode& notificationItself(const JSONNode& argument) { return argument; }
const JSONNode& notificationAnswered(const JSONNode& response) { return *response.find("to"); }

void deliver(ScenarioRun& run, const JSONNode& notification) { deliverIn("foreground", run, notification); }
void deliverInBackground(ScenarioRun& run, const JSONNode& notification) { deliverIn("background", run, notification); }

void respond(ScenarioRun& run, const JSONNode& response) {
  answer(run, response, "user", "responded",
         [](const Value& payload, id object) { PLMessaging::shared().appDidReceiveMessage(&payload, object); });
}

void handleResponse(ScenarioRun& run, const JSONNode& response) {
  answer(run, response, "app", "handles response", [&run](const Value&, id object) {
    const platform::Block<void()> completion(
        [&run] { run.tell("platform", "response completed", Value::dictionary({})); });
    PLNotificationHandler::shared().handleNotificationResponse(object, completion.get());
  });
}

void reportGoal(ScenarioRun& run, const JSONNode& name) {
  run.tell("core library", "goal", Value::dictionary({{"name", name.value}}));
  postEngagement(run, Value::dictionary({{"action", "event"}, {"name", name.value}}));
}

void endSession(ScenarioRun& run, const JSONNode& session) {
  run.tell("core library", "session ended", session.value);
  std::vector<Value::Entry> report{{"action", "session"}};
  report.insert(report.end(), session.value.entries().begin(), session.value.entries().end());
  postEngagement(run, Value::dictionary(report));
}

void activate(ScenarioRun& run, const JSONNode& /*nothing*/) {
  run.tell("app", "active", Value::dictionary({}));
  run.inProcess([] {
    platform::NotificationCenter::postNotificationName(platform::UIApplication::didBecomeActiveNotification, nullptr);
  });
}

void setBadge(ScenarioRun& run, const JSONNode& badge) {
  const std::int64_t count = badge.find("count")->value.integer();
  const JSONNode* through = badge.find("through");
  const bool isApplications = through == nullptr || through->value == Value("application");
  run.tell("app", "sets badge",
           Value::dictionary({{"count", count}, {"through", isApplications ? "application" : "notificationCenter"}}));
  run.inProcess([&] {
    PLMessaging::shared().updateBadgeCount(count);
    if (isApplications) {
      platform::send<void(std::int64_t)>(classMethodResult("UIApplication", "sharedApplication"),
                                         sel_registerName("setApplicationIconBadgeNumber:"), count);
    } else {
      platform::send<void(std::int64_t, platform::BlockPtr<void(id)>)>(
          classMethodResult("UNUserNotificationCenter", "currentNotificationCenter"),
          sel_registerName("setBadgeCount:withCompletionHandler:"), count, nullptr);
    }
  });
}

}  // namespace pellion

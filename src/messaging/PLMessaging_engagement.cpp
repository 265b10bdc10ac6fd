// Records the events of a notification: delivered, acted on, converted. Each is sent at once, in its own request.

#include <initializer_list>
#include <utility>
#include <vector>

#include "messaging/PLMessaging.h"
#include "network/PLTokenManager.h"
#include "platform/core_library.h"
#include "platform/log.h"
#include "platform/object_messages.h"
#include "platform/text.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace {

using platform::Value;

enum Status : std::int32_t { Delivered = 4, Responded = 5, Converted = 6 };

using Field = std::pair<const char*, std::optional<Value>>;

/// Builds a dictionary as the platform's literals do. Kept: an absent value raises, and no code catches that.
Value dictionaryLiteral(std::initializer_list<Field> fields) {
  std::vector<Value::Entry> entries;
  entries.reserve(fields.size());
  for (const auto& [key, value] : fields) {
    if (!value) {
      throw platform::Exception(
          platform::invalidArgumentException,
          platform::format("*** -[__NSPlaceholderDictionary initWithObjects:forKeys:count:]: attempt to insert nil "
                           "object from objects[%lu]",
                           {entries.size()}));
    }
    entries.push_back({key, *value});
  }
  return Value::dictionary(entries);
}

Value makeEntry(const std::optional<Value>& notificationID, Status status) {
  return dictionaryLiteral({{"notificationid", notificationID},
                            {"timestamp", platform::QVSystemInfo::getTimeinLong()},
                            {"status", static_cast<std::int32_t>(status)}});
}

Value makeActionEntry(const Value& notificationID, const Value* action) {
  return dictionaryLiteral({{"notificationid", notificationID},
                            {"timestamp", platform::QVSystemInfo::getTimeinLong()},
                            {"status", static_cast<std::int32_t>(Responded)},
                            {"actionid", platform::copied(action)}});
}

void send(const Value& entry, const char* block) {
  PLTokenManager::sharedInstance().sendStatsToServer(Value::list({entry}), [block](bool success) {
    PL_LOG(platform::pellionLog, block, "Push notification stats request: %i", success);
  });
}

void openIfPossible(const Value* clickAction) {
  if (clickAction == nullptr) return;
  const std::optional<platform::URL> url = platform::URL::URLWithString(clickAction->asString("length"));
  if (url && platform::UIApplication::canOpenURL(*url)) platform::UIApplication::openURL(*url);
}

std::optional<std::string> lowercase(const Value* text) {
  if (text == nullptr) return std::nullopt;
  return platform::lowercaseString(text->asString("lowercaseString"));
}

}  // namespace

void PLMessaging::updateLogMsgIds(const Value* payload) {
  const std::optional<Value> addInfo = parsedAddInfo(payload);
  if (!addInfo) return;
  const Value* notificationID = rememberID(*addInfo);
  if (notificationID == nullptr) return;
  send(makeEntry(*notificationID, Delivered), "-[PLMessaging updateLogMsgIds:]_block_invoke");
}

void PLMessaging::appDidReceiveMessage(const Value* payload, id response) {
  const std::optional<Value> addInfo = parsedAddInfo(payload);
  if (!addInfo) return;
  if (const Value* notificationID = rememberID(*addInfo)) {
    storeGoal(*addInfo);
    const std::optional<Value> identifier = platform::unboxed(platform::property(response, "actionIdentifier"));
    if (identifier && *identifier == Value(platform::UNNotificationDefaultActionIdentifier)) {
      recordTap(*addInfo, *notificationID);
    } else {
      recordAction(*addInfo, *notificationID, identifier);
    }
  }
  PL_LOG(platform::pellionLog, "-[PLMessaging appDidReceiveMessage:withResponse:]", "Message : %@", payload);
}

std::optional<Value> PLMessaging::parsedAddInfo(const Value* payload) const {
  if (payload == nullptr || payload->count() == 0) return std::nullopt;
  const Value* addInfo = findValueForKey(addInfoKey, payload);
  return addInfo != nullptr ? parseBodyString(*addInfo) : std::nullopt;
}

// Returns the notification's id if it has a valid one, and stores it as the last one seen.
const Value* PLMessaging::rememberID(const Value& addInfo) {
  const Value* notificationID = addInfo.asDictionary().find("pellionPnID");
  if (notificationID == nullptr || notificationID->integerValue() < 1) return nullptr;
  pnID_ = *notificationID;
  pellionPnID_.insert(*notificationID);
  return notificationID;
}

void PLMessaging::storeGoal(const Value& addInfo) {
  const Value* conversion = addInfo.find("conversion");
  if (conversion == nullptr) {
    conversionEvent_ = "";
    return;
  }
  const Value& goal = conversion->asDictionary();
  const std::optional<std::string> group = lowercase(goal.find("group"));
  const std::optional<std::string> event = lowercase(goal.find("event"));
  conversionEvent_ = platform::format("%@_%@", {group, event});
}

void PLMessaging::recordTap(const Value& addInfo, const Value& notificationID) {
  openIfPossible(addInfo.find("clickAction"));
  send(makeEntry(notificationID, Responded), "-[PLMessaging appDidReceiveMessage:withResponse:]_block_invoke");
}

void PLMessaging::recordAction(const Value& addInfo, const Value& notificationID,
                               const std::optional<Value>& identifier) const {
  PL_LOG(platform::pellionLog, "-[PLMessaging appDidReceiveMessage:withResponse:]",
         "Action Identifier : %@ for Notification ID %@", identifier, notificationID);
  const Value* buttons = findValueForKey("actionButton", &addInfo);
  const Value* button = getActionButtonById(platform::orNull(identifier), buttons);
  const Value* action = button != nullptr ? button->find("action") : nullptr;
  send(makeActionEntry(notificationID, action), "-[PLMessaging appDidReceiveMessage:withResponse:]_block_invoke_2");
  openIfPossible(findValueForKey("clickAction", button));
}

void PLMessaging::globalEngagementDataNotification(id notification) {
  const std::optional<Value> report = platform::unboxed(platform::property(notification, "object"));
  if (!report) return;
  const Value& fields = report->asDictionary();
  const Value* action = fields.find("action");
  if (action == nullptr) return;
  if (*action == Value("event")) {
    convertIfGoal(fields.find("name"));
  } else if (*action == Value("session") && fields.find("duration") != nullptr) {
    conversionEvent_ = "";
  }
}

// Kept: the entry carries the id that a response or a delivery stored last; the goal stores no id of its own. After a
// response without a goal the pending goal is the empty text, and an event with an empty name matches it.
void PLMessaging::convertIfGoal(const Value* name) {
  PL_LOG(platform::pellionLog, "-[PLMessaging globalEngagementDataNotification:]", "conversionEvent check %@ :: %@",
         name, conversionEvent_);
  if (name == nullptr || !conversionEvent_ || *name != Value(*conversionEvent_)) return;
  conversionEvent_ = "";
  send(makeEntry(pnID_, Converted), "-[PLMessaging globalEngagementDataNotification:]_block_invoke");
}

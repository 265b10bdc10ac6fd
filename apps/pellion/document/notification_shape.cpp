#include "pellion/document/notification_shape.h"

namespace pellion {
namespace {

using platform::Value;

bool isNotification(const Value& value) {
  const Value* payload = value.find("payload");
  const bool hasBoth = payload != nullptr && payload->find("addInfo") != nullptr && value.find("addInfo") != nullptr;
  return isObject(value) && !hasBoth;
}

const Shape addInfoShape{"an object", isObject};
const Shape payloadShape{"an object", isObject, {}, nullptr, nullptr, false, &payloadFile};
const Field notificationFields[] = {{"payload", &payloadShape}, {"addInfo", &addInfoShape}};

}  // namespace

const Shape notificationShape{
    "an object with the content of a notification: \"payload\", and \"addInfo\" unless the payload has one",
    isNotification, notificationFields};
const Shape namedNotificationShape{
    "the name of a notification, or an object with its content: \"payload\", and \"addInfo\" unless the payload has "
    "one",
    [](const Value& value) { return value.ifString() || isNotification(value); }, notificationFields};

}  // namespace pellion

#include "pellion/document/notification_shape.h"

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

}  // namespace

const Shape notificationShape{
    "an object with the content of a notification: \"payload\", and \"addInfo\" unless the payload has one",
    isNotification, notificationFields};
const Shape namedNotificationShape{"the name of a notification, or an object with its content",
                                   [](const Value& value) { return value.ifString() || isObject(value); },
                                   {},
                                   nullptr,
                                   checkNotification};

}  // namespace pellion

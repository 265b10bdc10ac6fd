#pragma once

#include "pellion/document/shape.h"

namespace pellion {

/// A notification in a scenario: "payload", used unchanged, and "addInfo", which the payload carries as JSON text.
extern const Shape notificationShape;
/// The same, or the name of one of the scenario's notifications.
extern const Shape namedNotificationShape;

}  // namespace pellion

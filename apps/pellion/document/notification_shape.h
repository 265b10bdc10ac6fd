#pragma once

#include "pellion/document/shape.h"

namespace pellion {

inline constexpr FileKind payloadFile{"a payload, a JSON object", "the push service takes 4096 bytes", 64U << 10};

/// A notification in a scenario: "payload", used unchanged, and "addInfo", which the payload carries as JSON text.
extern const Shape notificationShape;
/// The same, or the name of one of the scenario's notifications.
extern const Shape namedNotificationShape;

}  // namespace pellion

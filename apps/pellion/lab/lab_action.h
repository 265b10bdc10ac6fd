#pragma once

#include <string>
#include <string_view>

#include "pellion/document/shape.h"
#include "pellion/payload/payload.h"
#include "platform/value.h"

namespace pellion {

// The entries of an action, as docs/lab.schema.json describes it.

extern const Shape actionShape;

/// What is wrong with a scenario or a configuration in the place of a payload.
inline constexpr const char* otherDocument =
    "this is a scenario or a configuration, not a payload; open a scenario under Scenario, and configure the "
    "application under Application";

/// Empty for an entry that is left out.
std::string textIn(const platform::Value& action, std::string_view name);
/// Throws InputError for a text that is no payload, or larger than the push service takes.
platform::Value payloadIn(const platform::Value& action);
/// The same for the notification extension. Throws InputError also for a document of another kind.
Payload payloadToRecordIn(const platform::Value& action);

}  // namespace pellion

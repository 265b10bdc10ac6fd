#pragma once

#include <string_view>

namespace pellion {

/// The text of docs/scenario.schema.json, which the build embeds.
extern const std::string_view scenarioSchema;

}  // namespace pellion

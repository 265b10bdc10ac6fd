#pragma once

#include "pellion/timeline/text_lines.h"

namespace pellion {

/// Adds what the statistics entries in the details of any event mean: "41: status 4 (delivered)".
void appendStatistics(Lines& lines, const platform::Value& details);

}  // namespace pellion

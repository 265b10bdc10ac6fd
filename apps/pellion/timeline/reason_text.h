#pragma once

#include "pellion/timeline/text_lines.h"

namespace pellion {

// The timeline's texts for what did not happen, and why: rows of the table in event_text.cpp.

Lines blocked(const platform::Value& details);
Lines notAccepted(const platform::Value& details);
Lines warning(const platform::Value& details);

}  // namespace pellion

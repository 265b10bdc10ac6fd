#pragma once

#include "host/phone/observed_event.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {

/// The timeline's text for an event: a first line that says what happened, and below it the details. Empty for events
/// that need no mention.
Lines linesOf(const host::Event& event);

}  // namespace pellion

#pragma once

#include "host/phone/observed_event.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {

/// What a timeline says of an event: a first line for what happened, under it what belongs to it. Nothing for events
/// that go without saying.
Lines linesOf(const host::Event& event);

}  // namespace pellion

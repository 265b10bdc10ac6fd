#pragma once

#include "host/event.h"
#include "pellion/text_lines.h"

namespace pellion {

/// What a timeline says of an event: a first line for what happened, under it what belongs to it. Nothing for events
/// that go without saying.
Lines linesOf(const host::Event& event);

}  // namespace pellion

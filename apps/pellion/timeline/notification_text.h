#pragma once

#include "pellion/timeline/text_lines.h"

namespace pellion {

// The timeline's texts for notifications and what they lead to: rows of the table in event_text.cpp.

Lines delivered(const platform::Value& details);
Lines responded(const platform::Value& details);
Lines handlesResponse(const platform::Value& details);
Lines completedResponse(const platform::Value& details);
Lines openedURL(const platform::Value& details);
Lines refusedURL(const platform::Value& details);
Lines setsBadge(const platform::Value& details);
Lines shownBadge(const platform::Value& details);
Lines reportedGoal(const platform::Value& details);
Lines sessionEnded(const platform::Value& details);
Lines becameActive(const platform::Value& details);
Lines leftEntries(const platform::Value& details);
Lines readBadge(const platform::Value& details);
Lines sharedStored(const platform::Value& details);
Lines storeFailed(const platform::Value& details);
Lines raised(const platform::Value& details);

}  // namespace pellion

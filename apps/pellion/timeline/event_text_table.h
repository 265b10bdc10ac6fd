#pragma once

#include <span>
#include <string_view>

#include "pellion/timeline/text_lines.h"

namespace pellion {

/// The timeline's text for one kind of event. A new kind of event is a new row of one of the tables.
struct EventText {
  std::string_view actor;
  std::string_view what;
  Lines (*text)(const platform::Value& details);
};

/// Events of the application's objects and of other kits, and the platform's calls of them. In application_text.cpp.
std::span<const EventText> applicationTexts();
/// Events of notifications and what they lead to. In notification_text.cpp.
std::span<const EventText> notificationTexts();

}  // namespace pellion

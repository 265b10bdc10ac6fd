#pragma once

#include "pellion/timeline/text_lines.h"

namespace pellion {

// What a timeline says of the application's objects, of other kits, and of the platform that asks and is answered: rows
// of the table in event_text.cpp.

Lines wasCalled(const platform::Value& details);
Lines answered(const platform::Value& details);
Lines rewired(const platform::Value& details);
Lines setsDelegate(const platform::Value& details);
Lines startsService(const platform::Value& details);
Lines registersInterceptor(const platform::Value& details);
Lines unregistersInterceptor(const platform::Value& details);
Lines released(const platform::Value& details);
Lines asksForToken(const platform::Value& details);
Lines unheard(const platform::Value& details);
Lines fetched(const platform::Value& details);
Lines presents(const platform::Value& details);

}  // namespace pellion

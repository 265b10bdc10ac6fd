#pragma once

#include "pellion/timeline/text_lines.h"

namespace pellion {

// The timeline's texts for the application's objects, for other kits, and for the platform's questions and the answers
// it gets: rows of the table in event_text.cpp.

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

#include "pellion/timeline/statistics_text.h"

#include <utility>

#include "pellion/document/statistics_status.h"
#include "pellion/text/json_writer.h"

namespace pellion {

using platform::Value;

void appendStatistics(Lines& lines, const Value& details) {
  std::string title = "entries";
  for (const Value& entry : statisticsIn(details)) {
    const Value* action = entry.find("actionid");
    lines.push_back({{padded(std::exchange(title, ""), 10), Ink::faint},
                     {textAt(entry, "notificationid") + ": status " + textAt(entry, "status") + " ("},
                     {std::string(statusName(entry)), Ink::good},
                     {action == nullptr ? ")" : "), action " + compactJSON(*action)}});
  }
}

}  // namespace pellion

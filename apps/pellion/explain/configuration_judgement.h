#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pellion/explain/explain_phone.h"
#include "pellion/explain/finding.h"

namespace pellion {

/// A configuration, and what it lets the module send.
struct ConfigurationJudgement {
  std::string file;             ///< that has the entries: the caller's, or the one that a scenario names
  ExplainPhone::Options phone;  ///< that has this configuration
  bool knowsSchemes = false;    ///< the document is a scenario, which says what the application declares
  std::vector<Finding> findings;
};

/// Judges the text of a file: a JSON object of configuration entries, a scenario, or the core library's property list.
/// Reads a scenario as a run does: with comments, with the file that its configuration names, and with the default
/// configuration if it has none. Throws InputError for anything else.
ConfigurationJudgement judgeConfiguration(std::string_view file, std::string_view text);

}  // namespace pellion

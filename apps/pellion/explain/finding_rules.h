#pragma once

#include <string_view>

namespace pellion {

/// What a kind of finding means, for the readers of a report.
struct FindingRule {
  std::string_view code;
  std::string_view summary;      ///< what is wrong, in a few words
  std::string_view consequence;  ///< a sentence
  std::string_view remedy;       ///< a sentence
};

/// The rule of each code that a finding may have. Throws std::out_of_range for another code.
const FindingRule& ruleOf(std::string_view code);

}  // namespace pellion

#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "pellion/explain/explain_happenings.h"
#include "pellion/explain/explain_problems.h"

namespace pellion {

// Explains why a notification was not counted, opened the wrong URL or ended an application. Runs the payload through
// the real module on a simulated phone, reports what it leads to and points out problems.

struct Finding {
  std::string code;
  Place place;
  std::string text;
  std::string remedy;
};

struct Explanation {
  static constexpr std::size_t largestPayload = 4096;  ///< in bytes; the limit of the push service

  std::string file;
  std::size_t size = 0;  ///< as compact JSON
  std::vector<Happening> happenings;
  std::vector<Finding> findings;
};

struct ExplainOptions {
  std::vector<std::string> urlSchemes = {};  ///< schemes that the application declares
  std::optional<std::string> action = {};    ///< report only this one: "tap", "dismiss" or an identifier
};

/// Throws InputError for a payload that cannot be read.
Explanation explain(std::string_view file, std::string_view text, const ExplainOptions& options);

/// For people.
void writeText(std::ostream& out, const Explanation& explanation, bool inColour);
/// For machines; docs/explain.md describes the format.
platform::Value jsonOf(const Explanation& explanation);

}  // namespace pellion

#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "pellion/explain/explain_happenings.h"
#include "pellion/explain/explain_problems.h"

namespace pellion {

// Why a notification was not counted, opened the wrong thing or ended an application: what comes of a payload, told by
// letting it happen to the real module on a simulated phone, and what about it deserves attention.

struct Finding {
  std::string code;
  Place place;
  std::string text;
  std::string remedy;
};

struct Explanation {
  static constexpr std::size_t largestPayload = 4096;  ///< that the push service takes, in bytes

  std::string file;
  std::size_t size = 0;  ///< as compact JSON
  std::vector<Happening> happenings;
  std::vector<Finding> findings;
};

struct ExplainOptions {
  std::vector<std::string> urlSchemes = {};  ///< that the application declares
  std::optional<std::string> action = {};    ///< only what comes of this one: "tap", "dismiss" or an identifier
};

/// Throws InputError for a payload that cannot be read.
Explanation explain(std::string_view file, std::string_view text, const ExplainOptions& options);

/// For people.
void writeText(std::ostream& out, const Explanation& explanation, bool inColour);
/// For machines, as docs/explain.md describes it.
platform::Value jsonOf(const Explanation& explanation);

}  // namespace pellion

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/payload/payload.h"

namespace pellion {

enum class Level : std::uint8_t { warning, error };

/// A change to a payload, or to what its addInfo holds: a value that is set at a path, or nothing to remove what is
/// there. Missing objects on the way are made.
struct Edit {
  bool inAddInfo = false;
  JSONPath path;
  std::optional<platform::Value> value;
};

/// A problem of a payload: the reason why a happening stopped, or something to correct.
struct Problem {
  std::string code;  ///< for machines; docs/explain.md lists them
  Spot spot;
  std::string text;
  std::string remedy;
  std::string key = {};  ///< a missing, misspelt or misplaced key
  Level level = Level::error;
  std::vector<Edit> correction = {};  ///< empty where only the author knows what is meant
};

using Problems = std::vector<Problem>;

/// The payload after the edits.
platform::Value corrected(const Payload& payload, const std::vector<Edit>& edits);

/// Describes a value in a sentence: `is "text"`, `is a list`.
std::string beingOf(const platform::Value& value);
std::string inQuotes(std::string_view text);
/// At most `longest` bytes and an ellipsis.
std::string shortened(const std::string& text, std::size_t longest = 60);

}  // namespace pellion

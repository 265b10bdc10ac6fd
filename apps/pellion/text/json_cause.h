#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace pellion {

/// The usual mistake behind an error in a JSON text: where it is, what it is and the remedy, and what to put in place
/// of how many bytes there to correct it.
struct JSONCause {
  struct Repair {
    std::size_t length;
    std::string replacement;
  };
  std::size_t offset;
  std::string text;
  std::optional<Repair> repair = {};
};

/// Names the mistake in a text that a strict reader rejects at `offset`, where it may want a comma or the end of a
/// container; nothing if it is none of the usual ones.
std::optional<JSONCause> causeOfJSONError(std::string_view text, std::size_t offset, bool wantsComma);

}  // namespace pellion

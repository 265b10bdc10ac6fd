#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace pellion {

/// One difference from what a scenario expects.
struct Mismatch {
  std::string place;  ///< such as "request 1, header mapid"
  std::string wanted;
  std::string found;
};
/// What `found` or `wanted` says of a value that is not there.
inline constexpr const char* absent = "(absent)";
using Mismatches = std::vector<Mismatch>;

/// "no URLs", "1 URL", "2 URLs". Pass the plural when it is not the singular with an s.
inline std::string counted(std::size_t count, const std::string& one, const std::string& several = "") {
  return (count == 0 ? "no" : std::to_string(count)) + " " + (count == 1 ? one : several.empty() ? one + "s" : several);
}

}  // namespace pellion

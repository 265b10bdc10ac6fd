#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The goal of a case: a bound on the bytes that it counts, or on the ratio of its time to that of another case of the
/// same run. A time alone has no bound, because it depends on the machine.
struct Goal {
  std::string name;
  std::optional<std::string> baseline;  ///< absent: the bound is in the unit
  std::string unit;                     ///< "bytes", or empty if there is a baseline
  bool isUpperBound;
  double bound;

  [[nodiscard]] bool isMetBy(double measured) const { return isUpperBound ? measured <= bound : measured >= bound; }
};

/// Reads a file of goals, whose first lines describe its format. Throws std::runtime_error, "FILE:LINE: …", for lines
/// that it cannot read.
std::vector<Goal> readGoals(const std::filesystem::path& file);

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What a case must reach: a bound on what it measures, or on its ratio to another case of the same run.
struct Goal {
  std::string name;
  std::optional<std::string> baseline;  ///< absent: the bound is in the unit
  std::string unit;                     ///< "ns", "bytes", or empty where there is a baseline
  bool isUpperBound;
  double bound;

  [[nodiscard]] bool isMetBy(double measured) const { return isUpperBound ? measured <= bound : measured >= bound; }
};

/// Reads a file of goals; its own first lines describe it. Throws std::runtime_error, "FILE:LINE: …", for what it
/// cannot read.
std::vector<Goal> readGoals(const std::filesystem::path& file);

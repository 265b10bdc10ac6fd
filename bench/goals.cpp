#include "bench/goals.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

std::optional<Goal> parseGoal(const std::string& line) {
  std::istringstream words(line);
  std::string name;
  std::string measure;
  std::string relation;
  std::string surplus;
  std::optional<std::string> baseline;
  double bound = 0;
  words >> name >> measure;
  if (measure == "/") words >> baseline.emplace();
  words >> relation >> bound;
  if (!words || words >> surplus) return std::nullopt;
  const bool isUnit = measure == "bytes";
  if ((measure != "/" && !isUnit) || (relation != "<=" && relation != ">=")) return std::nullopt;
  return Goal{name, baseline, isUnit ? measure : "", relation == "<=", bound};
}

}  // namespace

std::vector<Goal> readGoals(const std::filesystem::path& file) {
  std::ifstream input(file);
  if (!input) throw std::runtime_error(file.string() + ": this file of goals cannot be read");
  std::vector<Goal> goals;
  std::string line;
  for (int number = 1; std::getline(input, line); ++number) {
    if (line.empty() || line.starts_with('#')) continue;
    const std::optional<Goal> goal = parseGoal(line);
    if (!goal) {
      throw std::runtime_error(file.string() + ":" + std::to_string(number) + ": \"" + line +
                               "\" is not a goal; expected CASE / BASELINE <= BOUND or CASE bytes <= BOUND");
    }
    goals.push_back(*goal);
  }
  return goals;
}

// Runs the benchmarks in rounds and prints one table. For each case it shows the median of all rounds, in nanoseconds
// (of processor time, or of real or its own time if the case asks for it) or in the bytes that it counts, then the
// ratio to its baseline case, its goal and whether that is met. A ratio is the median of the rounds' ratios: within a
// round the two are measured shortly after each other, so that other programs on the machine slow both. Ends with
// status 1 when a goal is missed, 2 when one cannot be judged.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/goals.h"

namespace {

constexpr int rounds = 15;

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Keeps each case's value in every round, in the order of the first, and prints nothing meanwhile.
class Measurements : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string& name = run.run_name.function_name;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
      } else if (run.run_type == Run::RT_Iteration) {
        const auto bytes = run.counters.find("bytes");
        const std::string& clock = run.run_name.time_type;
        const bool isRealTime = clock == "real_time" || clock == "manual_time";
        const double time = isRealTime ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        std::vector<double>& values = values_[name];
        if (values.empty()) names_.push_back(name);
        values.push_back(bytes != run.counters.end() ? bytes->second.value
                                                     : time / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9);
      }
    }
  }

  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }
  /// Whether the case succeeded in every round.
  [[nodiscard]] bool has(const std::string& name) const {
    const auto found = values_.find(name);
    return found != values_.end() && found->second.size() == rounds;
  }
  [[nodiscard]] double median(const std::string& name) const { return medianOf(values_.at(name)); }
  [[nodiscard]] double ratio(const std::string& name, const std::string& baseline) const {
    std::vector<double> ratios = values_.at(name);
    std::ranges::transform(ratios, values_.at(baseline), ratios.begin(), std::divides<>());
    return medianOf(std::move(ratios));
  }

 private:
  std::vector<std::string> names_;
  std::map<std::string, std::vector<double>> values_;
};

enum class Verdict { met, missed, unknown };

Verdict printGoal(const Goal& goal, const Measurements& measured) {
  for (const std::string& needed : {goal.name, goal.baseline.value_or(goal.name)}) {
    if (measured.has(needed)) continue;
    std::printf("%-31s %10s  not measured in every round: %s\n", goal.name.c_str(), "-", needed.c_str());
    return Verdict::unknown;
  }
  const double median = measured.median(goal.name);
  const double judged = goal.baseline ? measured.ratio(goal.name, *goal.baseline) : median;
  const bool isMet = goal.isMetBy(judged);
  char ratio[32] = "-";
  if (goal.baseline) std::snprintf(ratio, sizeof ratio, "%.2f", judged);
  std::printf("%-31s %10.1f  %-31s %8s  %s %-6g %-5s %s\n", goal.name.c_str(), median,
              goal.baseline ? goal.baseline->c_str() : "-", ratio, goal.isUpperBound ? "<=" : ">=", goal.bound,
              goal.unit.c_str(), isMet ? "met" : "missed");
  return isMet ? Verdict::met : Verdict::missed;
}

int printTable(const std::vector<Goal>& goals, const Measurements& measured) {
  std::printf("%-31s %10s  %-31s %8s  %-15s %s\n", "case", "median", "measured against", "ratio", "goal", "verdict");
  for (const std::string& name : measured.names()) {
    const auto isItsOwn = [&](const Goal& goal) { return goal.name == name; };
    if (std::ranges::none_of(goals, isItsOwn)) std::printf("%-31s %10.1f\n", name.c_str(), measured.median(name));
  }
  int status = 0;
  for (const Goal& goal : goals) {
    switch (printGoal(goal, measured)) {
      case Verdict::met: break;
      case Verdict::missed: status = std::max(status, 1); break;
      case Verdict::unknown: status = 2; break;
    }
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::vector<Goal> goals = readGoals(PELLION_BENCH_GOALS);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    std::thread([] {}).join();  // from here on the C library counts references as in any program with threads
    Measurements measured;
    for (int round = 0; round < rounds; ++round) benchmark::RunSpecifiedBenchmarks(&measured);
    return printTable(goals, measured);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}

// Runs the benchmarks and prints one table. For each case it shows the median, in nanoseconds (of processor time, or of
// real time if the case asks for it) or in the bytes that it counts, the ratio to its baseline case in the same run,
// and its goal and whether that is met. Ends with status 1 when a goal is missed, 2 when one cannot be judged.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "bench/goals.h"

namespace {

/// Keeps the medians of a run, in its order, and prints nothing meanwhile.
class Medians : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string& name = run.run_name.function_name;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
      } else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        names_.push_back(name);
        const auto bytes = run.counters.find("bytes");
        const bool isRealTime = run.run_name.time_type == "real_time";
        const double time = isRealTime ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        medians_[name] = bytes != run.counters.end() ? bytes->second.value
                                                     : time / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
      }
    }
  }

  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }
  /// Negative for a case that did not run.
  [[nodiscard]] double of(const std::string& name) const {
    const auto found = medians_.find(name);
    return found == medians_.end() ? -1 : found->second;
  }

 private:
  std::vector<std::string> names_;
  std::map<std::string, double> medians_;
};

enum class Verdict { met, missed, unknown };

Verdict printGoal(const Goal& goal, const Medians& medians) {
  const double median = medians.of(goal.name);
  const double baseline = goal.baseline ? medians.of(*goal.baseline) : 1;
  if (median < 0 || baseline <= 0) {
    std::printf("%-31s %10s  no such case in this run: %s\n", goal.name.c_str(), "-",
                (median < 0 ? goal.name : *goal.baseline).c_str());
    return Verdict::unknown;
  }
  const bool isMet = goal.isMetBy(median / baseline);
  char ratio[32] = "-";
  if (goal.baseline) std::snprintf(ratio, sizeof ratio, "%.2f", median / baseline);
  std::printf("%-31s %10.1f  %-31s %8s  %s %-6g %-5s %s\n", goal.name.c_str(), median,
              goal.baseline ? goal.baseline->c_str() : "-", ratio, goal.isUpperBound ? "<=" : ">=", goal.bound,
              goal.unit.c_str(), isMet ? "met" : "missed");
  return isMet ? Verdict::met : Verdict::missed;
}

int printTable(const std::vector<Goal>& goals, const Medians& medians) {
  std::printf("%-31s %10s  %-31s %8s  %-15s %s\n", "case", "median", "measured against", "ratio", "goal", "verdict");
  for (const std::string& name : medians.names()) {
    const auto isItsOwn = [&](const Goal& goal) { return goal.name == name; };
    if (std::ranges::none_of(goals, isItsOwn)) std::printf("%-31s %10.1f\n", name.c_str(), medians.of(name));
  }
  int status = 0;
  for (const Goal& goal : goals) {
    switch (printGoal(goal, medians)) {
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
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    return printTable(goals, medians);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}

#include "pellion/cli/test_command.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include "pellion/cli/junit_report.h"
#include "pellion/cli/scenario_suite.h"
#include "pellion/document/input_error.h"
#include "pellion/document/input_file.h"
#include "pellion/document/text_width.h"
#include "pellion/run/temporary_directory.h"

namespace pellion {
namespace {

using SuiteOutcome = SuiteResult::Outcome;

/// Takes results as they arrive and shows them in the order of the files; meanwhile one line shows the progress.
class Progress {
 public:
  Progress(const Surroundings& surroundings, std::size_t count) : surroundings_(surroundings), results_(count) {}

  void add(std::size_t index, SuiteResult result) {
    ++done_;
    if (result.outcome == SuiteOutcome::failed || result.outcome == SuiteOutcome::unusable) ++notPassed_;
    results_[index] = std::move(result);
    for (; shown_ < results_.size() && results_[shown_]; ++shown_) show(*results_[shown_]);
    showLine();
  }

  void end() { eraseLine(); }

  [[nodiscard]] std::vector<SuiteResult> takeResults() {
    std::vector<SuiteResult> results;
    for (std::optional<SuiteResult>& result : results_) results.push_back(std::move(*result));
    return results;
  }

 private:
  void show(SuiteResult& result) {
    if (result.outcome == SuiteOutcome::passed) return;
    eraseLine();
    if (result.outcome == SuiteOutcome::failed) surroundings_.out << std::exchange(result.timeline, {});
    if (result.outcome == SuiteOutcome::noScenario) {
      surroundings_.out << "not run: " << printable(result.file) << " has no \"steps\"\n";
    }
    surroundings_.out.flush();
    if (result.outcome == SuiteOutcome::unusable) surroundings_.err << "pellion: " << printable(result.message) << '\n';
  }

  void showLine() {
    constexpr std::chrono::milliseconds leastPause{50};  // a terminal is slower than a scenario
    const auto now = std::chrono::steady_clock::now();
    if (!surroundings_.showsProgress || (done_ > 1 && now - lineShownAt_ < leastPause)) return;
    lineShownAt_ = now;
    isLineShown_ = true;
    surroundings_.err << "\r\x1b[K" << done_ << " of " << results_.size();
    if (notPassed_ > 0) surroundings_.err << ", " << notPassed_ << " not passed";
    surroundings_.err << std::flush;
  }

  void eraseLine() {
    if (std::exchange(isLineShown_, false)) surroundings_.err << "\r\x1b[K" << std::flush;
  }

  const Surroundings& surroundings_;
  std::vector<std::optional<SuiteResult>> results_;
  std::size_t done_ = 0;
  std::size_t notPassed_ = 0;
  std::size_t shown_ = 0;
  bool isLineShown_ = false;
  std::chrono::steady_clock::time_point lineShownAt_;
};

std::string joined(const std::vector<std::string>& paths) {
  std::string text;
  for (const std::string& path : paths) text.append(text.empty() ? "" : ", ").append(path);
  return text;
}

}  // namespace

TestCounts runTests(const TestArguments& arguments, const Surroundings& surroundings) {
  const std::vector<SuiteFile> files = findSuiteFiles(arguments.paths);
  std::optional<JUnitReport> report;
  if (arguments.junit) {
    for (const SuiteFile& file : files) refuseToOverwrite(file.path, "--junit", *arguments.junit);
    report.emplace(*arguments.junit);
  }
  surroundings.cleanUpOnSignal(&TemporaryDirectory::removeAll);
  const auto started = std::chrono::steady_clock::now();
  Progress progress(surroundings, files.size());
  runSuite(files, arguments.jobs, surroundings.inColour,
           [&](std::size_t index, SuiteResult result) { progress.add(index, std::move(result)); });
  progress.end();
  const std::vector<SuiteResult> results = progress.takeResults();
  if (report) report->write(results, std::chrono::steady_clock::now() - started);

  const auto count = [&](SuiteOutcome outcome) {
    return static_cast<std::size_t>(std::ranges::count(results, outcome, &SuiteResult::outcome));
  };
  const TestCounts counts{count(SuiteOutcome::passed), count(SuiteOutcome::failed), count(SuiteOutcome::unusable)};
  if (counts.passed + counts.failed + counts.unusable == 0) {
    throw InputError(joined(arguments.paths) + ": no scenario is there; give scenarios, or directories that hold some");
  }
  surroundings.out << counts.passed << " passed, " << counts.failed << " failed";
  if (counts.unusable > 0) surroundings.out << ", " << counts.unusable << " unusable";
  surroundings.out << '\n';
  return counts;
}

}  // namespace pellion

#include "pellion/commands/test_command.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <set>
#include <system_error>
#include <utility>

#include "pellion/run/server_probe.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/suite/junit_report.h"
#include "pellion/suite/suite_reporter.h"
#include "pellion/suite/suite_watcher.h"
#include "pellion/text/input_error.h"
#include "pellion/text/input_file.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

/// Takes results as they arrive and shows them in the order of the files; meanwhile one line shows the progress.
class Progress {
 public:
  Progress(const Surroundings& surroundings, SuiteReporter& reporter, const std::vector<SuiteFile>& files)
      : surroundings_(surroundings), reporter_(reporter), files_(files), results_(files.size()) {}

  void add(std::size_t index, SuiteResult result) {
    ++done_;
    if (!result.hasPassed()) ++notPassed_;
    results_[index] = std::move(result);
    if (results_[shown_]) eraseLine();
    for (; shown_ < results_.size() && results_[shown_]; ++shown_) reporter_.show(*results_[shown_]);
    showLine();
  }

  /// Ends the progress. Files without a result have not been run.
  [[nodiscard]] std::vector<SuiteResult> takeResults() {
    eraseLine();
    std::vector<SuiteResult> results;
    for (std::size_t index = 0; index < results_.size(); ++index) {
      if (!results_[index]) {
        const std::string& path = files_[index].path;
        results_[index] = {.outcome = SuiteResult::Outcome::notRun, .file = path, .name = path};
        reporter_.show(*results_[index]);
      }
      results.push_back(std::move(*results_[index]));
    }
    return results;
  }

 private:
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
  SuiteReporter& reporter_;
  const std::vector<SuiteFile>& files_;
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

bool hasChanged(const std::string& file, const std::set<std::filesystem::path>& changed) {
  std::error_code ignored;
  for (std::filesystem::path path = std::filesystem::weakly_canonical(file, ignored);; path = path.parent_path()) {
    if (changed.contains(path)) return true;
    if (path == path.parent_path()) return false;
  }
}

/// The files in the order in which they were found, without those that did not change and name no file that did. From
/// now on the watcher also notices what they name.
std::vector<SuiteFile> changedFiles(std::vector<SuiteFile> files, const std::set<std::filesystem::path>& changed,
                                    SuiteWatcher& watcher) {
  std::erase_if(files, [&](const SuiteFile& file) {
    const std::vector<std::string> named = filesNamedBy(file.path);
    watcher.watchFiles(named);
    return !hasChanged(file.path, changed) &&
           std::ranges::none_of(named, [&](const std::string& path) { return hasChanged(path, changed); });
  });
  return files;
}

std::vector<SuiteFile> selectFiles(const TestArguments& arguments) {
  std::vector<SuiteFile> files = findSuiteFiles(arguments.paths);
  if (arguments.junit) {  // also one that is not run stays as it is
    for (const SuiteFile& file : files) {
      refuseToOverwrite(file.path, "--junit", *arguments.junit);
      for (const std::string& named : filesNamedBy(file.path)) refuseToOverwrite(named, "--junit", *arguments.junit);
    }
  }
  if (arguments.filter) keepMatching(files, *arguments.filter);
  return files;
}

[[noreturn]] void refuseEmptySuite(const TestArguments& arguments) {
  const std::string where = joined(arguments.paths);
  if (!arguments.filter) {
    throw InputError(where + ": no scenario is there; give scenarios, or directories that hold some");
  }
  throw InputError(where + ": no scenario there has \"" + *arguments.filter +
                   "\" in its path or name; change --filter, --list without it shows what there is");
}

/// --list and --watch show text for people, and --watch a part of the suite at a time.
void refuseContradictions(const TestArguments& arguments) {
  const char* mode = arguments.suite.onlyReads ? "--list" : arguments.watches ? "--watch" : nullptr;
  const std::pair<bool, const char*> others[] = {{arguments.suite.onlyReads && arguments.watches, "--watch"},
                                                 {arguments.format != suiteFormats.front(), "--reporter"},
                                                 {arguments.junit.has_value(), "--junit"}};
  for (const auto& [isGiven, other] : others) {
    if (mode != nullptr && isGiven) {
      throw InputError(std::string(mode) + " cannot be used with " + other + "; leave out one of them");
    }
  }
}

/// What does not exist could appear anywhere.
void refuseUnwatchable(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (path == "-") throw InputError("--watch cannot watch standard input; give files or directories");
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      throw InputError(path + ": No such file or directory; --watch needs files or directories that exist");
    }
  }
}

std::string namesOf(const std::vector<SuiteFile>& files) {
  constexpr std::size_t most = 5;
  std::string names;
  for (std::size_t i = 0; i < std::min(files.size(), most); ++i) names += (i == 0 ? "" : ", ") + files[i].path;
  return names + (files.size() > most ? " and " + std::to_string(files.size() - most) + " more" : "");
}

SuiteCounts runFiles(const std::vector<SuiteFile>& files, const TestArguments& arguments,
                     const Surroundings& surroundings) {
  std::optional<JUnitReport> report;
  if (arguments.junit) report.emplace(*arguments.junit);
  const auto reporter = arguments.suite.onlyReads ? suiteLister(surroundings)
                                                  : suiteReporter(arguments.format, surroundings, arguments.isVerbose);
  const auto started = std::chrono::steady_clock::now();
  Progress progress(surroundings, *reporter, files);
  runSuite(files, arguments.suite,
           [&](std::size_t index, SuiteResult result) { progress.add(index, std::move(result)); });
  const std::vector<SuiteResult> results = progress.takeResults();
  if (report) report->write(results, std::chrono::steady_clock::now() - started);
  const SuiteCounts counts = countResults(results);
  reporter->end(counts);
  return counts;
}

}  // namespace

SuiteCounts runTests(const TestArguments& arguments, const Surroundings& surroundings) {
  refuseContradictions(arguments);
  if (arguments.junit == "-") {
    throw InputError("--junit -: standard output has the results; give --junit the path of a file");
  }
  if (arguments.suite.server) checkServer(*arguments.suite.server, {});
  std::optional<SuiteWatcher> watcher;
  if (arguments.watches) {
    refuseUnwatchable(arguments.paths);
    watcher.emplace(arguments.paths);
  }
  surroundings.cleanUpOnSignal(&TemporaryDirectory::removeAll);
  const std::vector<SuiteFile> files = selectFiles(arguments);
  if (files.empty()) refuseEmptySuite(arguments);
  if (watcher) {
    for (const SuiteFile& file : files) watcher->watchFiles(filesNamedBy(file.path));
  }
  const SuiteCounts counts = runFiles(files, arguments, surroundings);
  if (counts.passed + counts.failed + counts.unusable == 0) refuseEmptySuite(arguments);
  if (watcher) surroundings.out << "Watching " << printable(joined(arguments.paths)) << "; Ctrl-C ends it.\n";
  while (watcher && surroundings.out.flush()) {
    const std::set<std::filesystem::path> changed = watcher->changedPaths();
    for (const std::filesystem::path& gone : watcher->takeGone()) {
      surroundings.err << "pellion: --watch: " << printable(gone.string())
                       << " was moved or removed; it is not watched any more\n"
                       << std::flush;
    }
    const std::vector<SuiteFile> again = changedFiles(selectFiles(arguments), changed, *watcher);
    if (again.empty()) continue;
    surroundings.out << "Again: " << printable(namesOf(again)) << '\n';
    runFiles(again, arguments, surroundings);
  }
  return counts;
}

}  // namespace pellion

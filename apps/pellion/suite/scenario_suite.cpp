#include "pellion/suite/scenario_suite.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

#include "pellion/run/scenario_run.h"
#include "pellion/run/server_probe.h"
#include "pellion/steps/scenario_expectation.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/redaction.h"
#include "pellion/text/text_width.h"
#include "pellion/timeline/text_lines.h"
#include "pellion/timeline/timeline.h"
#include "services/url_loading/network.h"

namespace pellion {
namespace {

using SuiteOutcome = SuiteResult::Outcome;

/// The events of one run. They become text only on request, because nearly all runs pass.
class Record {
 public:
  explicit Record(bool withNetwork) : withNetwork_(withNetwork) {}

  void operator()(const host::Event& event) {
    events_.push_back({std::string(event.actor), std::string(event.what), event.time, event.details});
  }

  [[nodiscard]] std::string timeline(bool inColour) const {
    std::ostringstream text;
    Timeline timeline(text, {.inColour = inColour, .abridges = true, .withNetwork = withNetwork_});
    for (const Kept& event : events_) timeline({event.time, event.actor, event.what, event.details});
    return text.str();
  }

  /// Of the expectation that ended the run.
  [[nodiscard]] Mismatches mismatches() const {
    Mismatches mismatches;
    const auto isFailure = [](const Kept& event) { return event.actor == "expectation" && event.what == "failed"; };
    const auto failure = std::ranges::find_if(events_, isFailure);
    if (failure == events_.end()) return mismatches;
    for (const platform::Value& row : at(failure->details, "mismatches").elements()) {
      mismatches.push_back({textAt(row, "place"), textAt(row, "wanted"), textAt(row, "found")});
    }
    return mismatches;
  }

  /// A line for each, for a person to read.
  [[nodiscard]] std::string warnings() const {
    std::string text;
    for (const Kept& event : events_) {
      if (event.actor != "scenario" || event.what != "warning") continue;
      const auto part = [&](const char* name) { return printable(textAt(event.details, name)); };
      text +=
          "warning: " + part("place") + ": " + part("problem") + ": " + part("reason") + "; " + part("remedy") + '\n';
    }
    return text;
  }

 private:
  struct Kept {
    std::string actor;
    std::string what;
    std::chrono::nanoseconds time;
    platform::Value details;
  };
  std::vector<Kept> events_;
  bool withNetwork_;
};

void runScenario(const Scenario& scenario, services::Network& network, const SuiteOptions& options,
                 SuiteResult& result) {
  const auto record = std::make_shared<Record>(options.server.has_value());
  if (options.server) {
    refuseBackendSteps(scenario);
    checkServerURL(*options.server, scenario);
  }
  ScenarioRun run(scenario, network,
                  {.server = options.server, .sink = std::ref(*record), .isStrict = options.isStrict});
  if (run.run()) {
    result.warnings = record->warnings();
    return;
  }
  result.outcome = SuiteOutcome::failed;
  result.position = run.failedAt();
  result.mismatches = record->mismatches();
  result.timeline = [record](bool inColour) { return record->timeline(inColour); };
}

void readAndRun(const SuiteFile& file, services::Network& network, const SuiteOptions& options, SuiteResult& result) {
  const auto fail = [&](std::string_view error) {
    result.outcome = !file.isNamed && isOtherDocument(file.path) ? SuiteOutcome::noScenario : SuiteOutcome::unusable;
    result.error = withoutUserInfo(error);
    const std::string place = inputName(file.path) + ": ";
    if (result.error.starts_with(place)) result.error.erase(0, place.size());
  };
  try {
    if (!file.error.empty()) throw InputError(file.error);
    const Scenario scenario = file.text ? readScenario(inputName(file.path), *file.text) : readScenario(file.path);
    result.name = scenario.redaction.text(scenario.name);
    if (!options.onlyReads) runScenario(scenario, network, options, result);
  } catch (const DocumentError& error) {
    fail(error.text());
    result.position = error.position();
  } catch (const std::exception& error) {  // usually an InputError
    fail(error.what());
  }
}

SuiteResult resultOf(const SuiteFile& file, services::Network& network, const SuiteOptions& options) {
  const auto started = std::chrono::steady_clock::now();
  SuiteResult result{.file = inputName(file.path), .name = inputName(file.path)};
  readAndRun(file, network, options, result);
  result.seconds = std::chrono::steady_clock::now() - started;
  return result;
}

/// A body may have many pages; the timeline has it whole.
std::string abridged(std::string_view text) {
  constexpr std::size_t largest = 200;  // bytes
  const std::string_view shown = beginning(text, largest);
  return printable(shown) + (shown.size() < text.size() ? "\u2026" : "");
}

}  // namespace

std::vector<std::string> problemTexts(const SuiteResult& result) {
  std::vector<std::string> texts;
  for (const auto& [place, wanted, found] : result.mismatches) {
    texts.push_back(printable(place) + ": wanted " + abridged(wanted) + ", found " + abridged(found));
  }
  if (result.outcome == SuiteOutcome::unusable) texts.push_back(printable(result.error));
  return texts;
}

std::string problemPlace(const SuiteResult& result) {
  return printable(result.position ? placeText(result.file, *result.position) : result.file);
}

SuiteCounts countResults(std::span<const SuiteResult> results) {
  const auto count = [&](SuiteOutcome outcome) {
    return static_cast<std::size_t>(std::ranges::count(results, outcome, &SuiteResult::outcome));
  };
  return {count(SuiteOutcome::passed), count(SuiteOutcome::failed), count(SuiteOutcome::unusable),
          count(SuiteOutcome::notRun)};
}

void runSuite(std::span<const SuiteFile> files, const SuiteOptions& options,
              const std::function<void(std::size_t index, SuiteResult result)>& done) {
  services::Network network;
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> isOver = false;
  std::mutex mutex;
  const auto work = [&] {
    while (!isOver) {
      const std::size_t index = next++;
      if (index >= files.size()) return;
      SuiteResult result = resultOf(files[index], network, options);
      if (options.failsFast && !result.hasPassed()) isOver = true;
      const std::lock_guard lock(mutex);
      done(index, std::move(result));
    }
  };
  std::vector<std::jthread> workers;
  for (std::size_t i = 1; i < std::min(options.jobs, files.size()); ++i) workers.emplace_back(work);
  work();
}

}  // namespace pellion

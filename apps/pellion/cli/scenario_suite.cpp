#include "pellion/cli/scenario_suite.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <mutex>
#include <set>
#include <sstream>
#include <system_error>
#include <thread>

#include "pellion/document/input_file.h"
#include "pellion/document/redaction.h"
#include "pellion/document/text_width.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/timeline/event_text.h"
#include "pellion/timeline/text_lines.h"
#include "pellion/timeline/timeline.h"
#include "services/http/network.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;
using SuiteOutcome = SuiteResult::Outcome;

/// The events of one run. They become text only on request, because nearly all runs pass.
class Record {
 public:
  void operator()(const host::Event& event) {
    events_.push_back({std::string(event.actor), std::string(event.what), event.time, event.details});
  }

  [[nodiscard]] std::string timeline(bool inColour) const {
    std::ostringstream text;
    Timeline timeline(text, {.inColour = inColour, .abridges = true});
    for (const Kept& event : events_) timeline(event.event());
    return text.str();
  }

  /// The expectation that ended the run.
  [[nodiscard]] host::Event failure() const {
    const auto isFailure = [](const Kept& event) { return event.actor == "expectation" && event.what == "failed"; };
    const auto found = std::ranges::find_if(events_, isFailure);
    return found == events_.end() ? host::Event{} : found->event();
  }

 private:
  struct Kept {
    std::string actor;
    std::string what;
    std::chrono::nanoseconds time;
    platform::Value details;
    [[nodiscard]] host::Event event() const { return {time, actor, what, details}; }
  };
  std::vector<Kept> events_;
};

std::vector<SuiteFile> filesBelow(const fs::path& directory) {
  const auto isHidden = [](const fs::path& path) { return path.filename().native().starts_with('.'); };
  std::vector<SuiteFile> files;
  for (auto entry = fs::recursive_directory_iterator(directory); entry != fs::recursive_directory_iterator(); ++entry) {
    if (isHidden(entry->path())) {
      entry.disable_recursion_pending();
    } else if (!entry->is_directory() && entry->path().extension() == ".json") {
      files.push_back({entry->path().lexically_normal().string()});
    }
  }
  std::ranges::sort(files, {}, &SuiteFile::path);
  return files;
}

bool isOtherDocument(const std::string& path) {
  try {
    return readJSON(path, readInputFile(path, {})).find("steps") == nullptr;
  } catch (const InputError&) {  // a file that is not JSON may have been meant as a scenario
    return false;
  }
}

/// "s.json:3:41: request 1, method: wanted GET, found POST"
std::string messageOf(const platform::Value& failure) {
  const auto mismatches = at(failure, "mismatches").elements();
  std::string text = textAt(failure, "place");
  if (mismatches.empty()) return text;
  const platform::Value& first = mismatches.front();
  text += ": " + textAt(first, "place") + ": wanted " + textAt(first, "wanted") + ", found " + textAt(first, "found");
  if (mismatches.size() > 1) text += " (and " + std::to_string(mismatches.size() - 1) + " more)";
  return text;
}

std::string plainText(const std::vector<Line>& lines) {
  std::string text;
  for (const Line& line : lines) {
    for (const Span& span : line) text += printable(span.text);
    text += '\n';
  }
  return text;
}

void runScenario(const SuiteFile& file, services::Network& network, bool inColour, SuiteResult& result) {
  Record record;
  try {
    const Scenario scenario = readScenario(file.path);
    result.name = scenario.redaction.text(scenario.name);
    ScenarioRun run(scenario, network, {.sink = std::ref(record)});
    if (run.run()) return;
    result.outcome = SuiteOutcome::failed;
    const host::Event failure = record.failure();
    result.message = messageOf(failure.details);
    result.mismatches = plainText(linesOf(failure));
    result.timeline = record.timeline(inColour);
  } catch (const std::exception& error) {  // usually an InputError
    result.outcome = !file.isNamed && isOtherDocument(file.path) ? SuiteOutcome::noScenario : SuiteOutcome::unusable;
    result.message = withoutUserInfo(error.what());
  }
}

SuiteResult resultOf(const SuiteFile& file, services::Network& network, bool inColour) {
  const auto started = std::chrono::steady_clock::now();
  SuiteResult result{.file = file.path, .name = file.path, .message = {}};
  runScenario(file, network, inColour, result);
  result.seconds = std::chrono::steady_clock::now() - started;
  return result;
}

}  // namespace

std::vector<SuiteFile> findSuiteFiles(std::span<const std::string> paths) {
  std::vector<SuiteFile> files;
  for (const std::string& path : paths) {
    try {
      if (fs::is_directory(path)) {
        std::ranges::move(filesBelow(path), std::back_inserter(files));
      } else {
        files.push_back({path, true});
      }
    } catch (const fs::filesystem_error& error) {
      throw InputError(path + ": " + error.code().message() + "; give scenarios, or directories that can be read");
    }
  }
  std::set<fs::path> known;
  std::erase_if(files, [&](const SuiteFile& file) { return !known.insert(fs::weakly_canonical(file.path)).second; });
  return files;
}

void runSuite(std::span<const SuiteFile> files, std::size_t jobs, bool inColour,
              const std::function<void(std::size_t index, SuiteResult result)>& done) {
  services::Network network;
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  const auto work = [&] {
    for (std::size_t index = next++; index < files.size(); index = next++) {
      SuiteResult result = resultOf(files[index], network, inColour);
      const std::lock_guard lock(mutex);
      done(index, std::move(result));
    }
  };
  std::vector<std::jthread> workers;
  for (std::size_t i = 1; i < std::min(jobs, files.size()); ++i) workers.emplace_back(work);
  work();
}

}  // namespace pellion

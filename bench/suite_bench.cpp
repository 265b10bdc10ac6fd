#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "pellion/cli/scenario_suite.h"

// Measures `pellion test` with many scenarios, two at once: each reads its file, launches a phone, sends four requests
// over real HTTP to its own backend and verifies them.

namespace {

void wholeLife(benchmark::State& state) {
  constexpr std::size_t batch = 100;
  constexpr std::size_t jobs = 2;
  const std::vector<pellion::SuiteFile> files(batch, {PELLION_SOURCE_DIR "/examples/scenarios/whole_life.json", true});
  std::string failure;
  while (state.KeepRunningBatch(batch)) {
    pellion::runSuite(files, jobs, false, [&](std::size_t, const pellion::SuiteResult& result) {
      if (result.outcome != pellion::SuiteResult::Outcome::passed) failure = result.message;
    });
  }
  if (!failure.empty()) state.SkipWithError(failure.c_str());
}

BENCHMARK(wholeLife)->Name("scenario/whole_life")->UseRealTime();

}  // namespace

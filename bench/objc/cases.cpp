// The cases of the table. A program over Foundation is one process of the platform, which starts the service once; so
// each case is measured by a program of its own, which prints nanoseconds or bytes.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace {

/// The number that the program prints for the case, or nothing when it fails: then it has said why.
std::optional<double> printedBy(const std::string& program, const std::string& argument) {
  const std::string command = "'" + program + "' " + argument;
  FILE* const output = popen(command.c_str(), "r");
  if (output == nullptr) return std::nullopt;
  double number = 0;
  const bool isRead = std::fscanf(output, "%lf", &number) == 1;
  return pclose(output) == 0 && isRead ? std::optional(number) : std::nullopt;
}

void measureIn(benchmark::State& state, const char* program, const char* name) {
  for (auto _ : state) {
    if (const auto nanoseconds = printedBy(program, name)) {
      state.SetIterationTime(*nanoseconds * 1e-9);
    } else {
      state.SkipWithError("the program that measures this case failed");
    }
  }
}

void measureLoadedLibrary(benchmark::State& state) {
  std::optional<double> bytes;
  for (auto _ : state) bytes = printedBy(PELLION_MEASURED, "library");
  if (!bytes) return state.SkipWithError("the program did not tell which library it loads");
  state.counters["bytes"] = *bytes;
}

void measureBuiltLibrary(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::filesystem::file_size(PELLION_LIBRARY));
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(PELLION_LIBRARY));
}

void addCase(const char* name, const char* program, const char* argument) {
  benchmark::RegisterBenchmark(name, measureIn, program, argument)->UseManualTime()->Iterations(1);
}

const bool areAdded = [] {
  setenv("GNUSTEP_CONFIG_FILE", PELLION_GNUSTEP_CONFIG, 1);
  for (const char* name : {"token_callback/own", "token_callback/by_hand", "token_callback/interceptor_and_own",
                           "will_present/own", "will_present/by_hand", "will_present/foreign", "start_service/by_hand",
                           "start_service", "unboxed/deep_copy", "unboxed/4_KiB"}) {
    addCase(name, PELLION_MEASURED, name);
  }
  for (const char* name : {"retain_release", "life_of_object"}) {
    addCase((name + std::string("/without_backend")).c_str(), PELLION_PLAIN, name);
    addCase(name, PELLION_MEASURED, name);
  }
  benchmark::RegisterBenchmark("library/over_host", measureBuiltLibrary)->Iterations(1);
  benchmark::RegisterBenchmark("library/over_foundation", measureLoadedLibrary)->Iterations(1);
  return true;
}();

}  // namespace

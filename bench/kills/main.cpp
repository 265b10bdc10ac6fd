// Kills writers of a store at random moments while another program reads it, and prints the results. Ends with status 1
// when a value was lost, torn or unavailable, or when too few kills occurred during a transaction.
//
//   pellion_kills [KILLS [DIRECTORY [SEED]]]

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "bench/kills/killed_writers.h"
#include "bench/number.h"

namespace {

bool print(const bench::KilledWriters::Counts& counts) {
  std::printf("kills survived                       %12u\n", counts.kills);
  std::printf("  while a value was being stored     %12u\n", counts.storing);
  std::printf("  with a transaction partly on disk  %12u\n", counts.halfDone);
  std::printf("values stored                        %12llu\n", static_cast<unsigned long long>(counts.stored));
  std::printf("values read in the meantime          %12llu\n", static_cast<unsigned long long>(counts.reads));
  std::printf("  the longest read                   %12.1f ms\n",
              static_cast<double>(counts.longestRead.count()) / 1e3);
  std::printf("values lost                          %12u\n", counts.lost);
  std::printf("values torn                          %12u\n", counts.torn);
  std::printf("files left after the next store      %12u\n", counts.left);
  std::printf("reads and stores that failed         %12zu\n", counts.problems.size());
  for (const std::string& problem : counts.problems) std::printf("  %s\n", problem.c_str());
  const bool isMeant = counts.kills < 100 || counts.halfDone > counts.kills / 10;
  if (!isMeant) std::puts("too few kills happened within a transaction for a conclusion");
  return isMeant && counts.lost == 0 && counts.torn == 0 && counts.left == 0 && counts.problems.empty();
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count > 4) throw std::invalid_argument("the only arguments are KILLS, DIRECTORY and SEED");
    const unsigned kills = count > 1 ? bench::numberFrom("KILLS", arguments[1], 1U) : 1'000U;
    const std::filesystem::path directory =
        count > 2 ? std::filesystem::path(arguments[2]) : std::filesystem::temp_directory_path();
    const unsigned seed = count > 3 ? bench::numberFrom("SEED", arguments[3], 0U) : 1U;
    return print(bench::KilledWriters(directory, seed).run(kills)) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}

// Soaks the module and its host. Prints the resources that they hold as it goes, then each promise with its measured
// value. Ends with status 1 when a promise is broken, 2 for unknown options.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "bench/number.h"
#include "bench/soak/soak.h"
#include "pellion/run/temporary_directory.h"

namespace {

using soak::Options;
using soak::print;

struct Option {
  std::string_view name;
  std::size_t Options::*value;
  std::size_t least;
};
// The resources held at the end are compared with those held after the first tenth.
constexpr std::array optionsThere{Option{"--notifications", &Options::notifications, 10},
                                  Option{"--phones", &Options::phones, 10},
                                  Option{"--http-every", &Options::overHTTP, 1}};

Options optionsFrom(int argc, char** argv) {
  Options options{.examples = PELLION_SOURCE_DIR "/examples/payloads"};
  for (int i = 1; i < argc; i += 2) {
    const auto option = std::ranges::find(optionsThere, argv[i], &Option::name);
    if (option == optionsThere.end()) {
      throw std::invalid_argument(std::string(argv[i]) +
                                  " is not an option; the options are --notifications N, --phones N, --http-every N");
    }
    options.*option->value = bench::numberFrom(option->name, i + 1 < argc ? argv[i + 1] : "", option->least);
  }
  return options;
}

/// The thread sanitizer starts a thread of its own together with the first thread.
void haveHadAThread() {
  std::string entry = "/proc/self/task/";
  std::thread([&] { entry += std::to_string(gettid()); }).join();
  while (std::filesystem::exists(entry)) std::this_thread::yield();  // it stays listed a moment longer
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Options options = optionsFrom(argc, argv);
    const pellion::TemporaryDirectory temporaryFiles;  // used by this program alone, so that leftover files show
    setenv("TMPDIR", temporaryFiles.path().c_str(), 1);
    haveHadAThread();
    bool areKept = print(soakNotifications(options));
    areKept = print(soakPhones(options)) && areKept;
    const bool isEmpty = std::filesystem::is_empty(temporaryFiles.path());
    areKept = print({{"no temporary file left over", isEmpty ? "none" : "some", isEmpty}}) && areKept;
    return areKept ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}

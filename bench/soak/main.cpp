// Soaks the module and its host: prints what they hold on the way, then each promise with what was measured. Ends with
// status 1 when one is broken, 2 for options that it does not have.

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "bench/soak/soak.h"
#include "pellion/temporary_directory.h"

namespace {

using soak::Options;
using soak::Promise;

std::size_t numberFrom(std::string_view option, const char* text) {
  std::size_t number = 0;
  const std::string_view digits = text == nullptr ? "" : text;
  const auto [stop, error] = std::from_chars(digits.begin(), digits.end(), number);
  if (error != std::errc() || stop != digits.end() || number == 0) {
    throw std::invalid_argument(std::string(option) + " needs a number above 0");
  }
  return number;
}

Options optionsFrom(int argc, char** argv) {
  Options options{.examples = PELLION_SOURCE_DIR "/examples/payloads"};
  for (int i = 1; i < argc; i += 2) {
    const std::string_view option = argv[i];
    std::size_t* const value = option == "--notifications" ? &options.notifications
                               : option == "--phones"      ? &options.phones
                               : option == "--http-every"  ? &options.overHTTP
                                                           : nullptr;
    if (value == nullptr) {
      throw std::invalid_argument(std::string(option) +
                                  " is no option; there are --notifications N, --phones N, --http-every N");
    }
    *value = numberFrom(option, argv[i + 1]);
  }
  return options;
}

bool print(const std::vector<Promise>& promises) {
  bool areKept = true;
  for (const Promise& promise : promises) {
    std::printf("  %-7s %-72s %s\n", promise.isKept ? "kept" : "BROKEN", promise.text.c_str(),
                promise.measured.c_str());
    areKept = areKept && promise.isKept;
  }
  std::fflush(stdout);
  return areKept;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Options options = optionsFrom(argc, argv);
    const pellion::TemporaryDirectory temporaryFiles;  // of this program alone, so that what is left there shows
    setenv("TMPDIR", temporaryFiles.path().c_str(), 1);
    std::thread([] {}).join();  // the thread sanitizer has a thread of its own from the first one on
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

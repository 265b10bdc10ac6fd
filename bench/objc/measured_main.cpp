// A program over the Foundation backend that measures one case and prints its number: nanoseconds, or bytes.

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "bench/objc/application.h"
#include "bench/objc/by_hand.h"
#include "bench/objc/dictionaries.h"
#include "bench/objc/object_cases.h"
#include "bench/objc/stopwatch.h"
#include "messaging/PLMessaging.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace {

using platform::Strong;

void require(bool holds, const char* failure) {
  if (!holds) throw std::runtime_error(failure);
}

double tokenCallback(bool isIntercepted) {
  const double time = bench_nanoseconds(&bench_deliverTokens, nullptr);
  require(bench_tokensReceived() > 0, "the application received no token");
  require(bench_tokensIntercepted() == (isIntercepted ? bench_tokensReceived() : 0),
          "the interceptor did not receive as many tokens as the application");
  return time;
}

double ownToken() {
  bench_launch();
  return tokenCallback(false);
}
double tokenByHand() {
  bench_launch();
  byHand_replaceDelegateMethods();
  const Strong interceptor = Strong::adopt(bench_makeInterceptor());
  byHand_addInterceptor(interceptor.get());
  return tokenCallback(true);
}
double interceptedToken() {
  bench_launch();
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  const Strong interceptor = Strong::adopt(bench_makeInterceptor());
  PLAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor.get());
  return tokenCallback(true);
}

double presentation(bool isReplaced) {
  require(bench_isPresentingReplaced() == isReplaced, "the delegate's class is not in the state of this case");
  const double time = bench_nanoseconds(&bench_presentForeign, nullptr);
  require(bench_presented() > 0, "the application received no notification");
  return time;
}

double ownPresentation() {
  bench_launch();
  return presentation(false);
}
double presentationByHand() {
  bench_launch();
  byHand_replaceCenterDelegateMethods();
  return presentation(true);
}
double foreignPresentation() {
  bench_launch();
  PLMessaging::startService();
  return presentation(true);
}

template <auto start>
double timeOfStart() {
  bench_launch();
  const double begin = bench_processorTime();
  start();
  const double taken = bench_processorTime() - begin;
  require(bench_isAllReplaced(), "the start has not replaced everything");
  return taken;
}

double deepCopy() {
  const Strong payload = Strong::adopt(bench_makePayload());
  const Strong copy = Strong::adopt(bench_deepCopy(payload.get()));
  require(bench_isDeepCopy(payload.get(), copy.get()), "the copy is not deep");
  const auto loop = [](void* copied, unsigned long times) {
    for (unsigned long i = 0; i < times; ++i) {
      const platform::AutoreleasePool pool;
      objc_release(bench_deepCopy(static_cast<id>(copied)));
    }
  };
  return bench_nanoseconds(loop, payload.get());
}
double unboxedPayload() {
  const Strong payload = Strong::adopt(bench_makePayload());
  const auto value = platform::unboxed(payload.get());
  require(value && value->find("addInfo") != nullptr, "the payload has not become a value");
  const auto loop = [](void* object, unsigned long times) {
    for (unsigned long i = 0; i < times; ++i) {
      const platform::AutoreleasePool pool;
      static_cast<void>(platform::unboxed(static_cast<id>(object)));
    }
  };
  return bench_nanoseconds(loop, payload.get());
}

/// The size of the module's library that this program has loaded.
double libraryBytes() {
  Dl_info library{};
  const bool isFound = dladdr(reinterpret_cast<const void*>(&PLMessaging::startService), &library) != 0;
  require(isFound && std::strstr(library.dli_fname, "libPellionMessaging") != nullptr, "the module is no library here");
  return static_cast<double>(std::filesystem::file_size(library.dli_fname));
}

double measure(const std::string& name) {
  static const std::map<std::string, double (*)()> cases{{"token_callback/own", &ownToken},
                                                         {"token_callback/by_hand", &tokenByHand},
                                                         {"token_callback/interceptor_and_own", &interceptedToken},
                                                         {"will_present/own", &ownPresentation},
                                                         {"will_present/by_hand", &presentationByHand},
                                                         {"will_present/foreign", &foreignPresentation},
                                                         {"start_service/by_hand", &timeOfStart<&byHand_startService>},
                                                         {"start_service", &timeOfStart<&PLMessaging::startService>},
                                                         {"unboxed/deep_copy", &deepCopy},
                                                         {"unboxed/4_KiB", &unboxedPayload},
                                                         {"library", &libraryBytes}};
  const auto found = cases.find(name);
  const double measured = found != cases.end() ? found->second() : bench_objectCase(name.c_str());
  if (measured < 0) throw std::runtime_error("there is no case " + name);
  return measured;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const platform::AutoreleasePool pool;
    std::printf("%f\n", measure(argc == 2 ? argv[1] : ""));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 2;
  }
}

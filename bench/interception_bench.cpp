// Measures the interception: a launch with the service, a callback through it, and the library itself.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "bench/allocations.h"
#include "bench/quiet_phone.h"
#include "host/objc/runtime_functions.h"
#include "host/phone/system_events.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "interception/notification_center_methods.h"
#include "messaging/PLMessaging.h"
#include "tests/support/test_process.h"

namespace {

using platform::ClassFace;
using platform::Strong;
using platform::Value;

constexpr const char* didRegister = "application:didRegisterForRemoteNotificationsWithDeviceToken:";
constexpr const char* willPresent = "userNotificationCenter:willPresentNotification:withCompletionHandler:";

/// The application's delegate, with its own implementation.
class Delegate {
 public:
  static constexpr const char* className = "Delegate";
  static void defineClass(ClassFace<Delegate>& face) {
    face.conformsTo("UIApplicationDelegate").method<&Delegate::didRegisterToken>(didRegister);
  }
  void didRegisterToken(id /*application*/, id /*token*/) { ++calls_; }
  [[nodiscard]] std::int64_t calls() const { return calls_; }

 private:
  std::int64_t calls_ = 0;
};

/// Counts the tokens that it receives.
class Interceptor {
 public:
  static constexpr const char* className = "Interceptor";
  static void defineClass(ClassFace<Interceptor>& face) {
    face.conformsTo("UIApplicationDelegate").method<&Interceptor::didRegisterToken>(didRegister);
  }
  void didRegisterToken(id /*application*/, id /*token*/) { ++calls_; }
  [[nodiscard]] std::int64_t calls() const { return calls_; }

 private:
  std::int64_t calls_ = 0;
};

class CenterDelegate {
 public:
  static constexpr const char* className = "CenterDelegate";
  static void defineClass(ClassFace<CenterDelegate>& face) {
    face.conformsTo("UNUserNotificationCenterDelegate").method<&CenterDelegate::willPresentNotification>(willPresent);
  }
  void willPresentNotification(id /*center*/, id /*notification*/, host::PresentationHandler /*handler*/) { ++calls_; }

 private:
  std::int64_t calls_ = 0;
};

void setCenterDelegate(id delegate) {
  platform::send<void(id)>(host::currentNotificationCenter(), sel_registerName("setDelegate:"), delegate);
}

void tokenCallback(benchmark::State& state) {
  const bench::QuietPhone phone;
  const Strong delegate = platform::makeObject<Delegate>();
  host::startApplication(delegate);
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  const Strong interceptor = platform::makeObject<Interceptor>();
  PLAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor.get());
  const id application = host::UIApplication::sharedApplication();
  const id token = platform::boxed(Value::bytes("\x0a\x0b"));
  const SEL callback = sel_registerName(didRegister);
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    platform::send<void(id, id)>(delegate.get(), callback, application, token);
  }
  const auto wanted = static_cast<std::int64_t>(state.iterations());
  const bool isHeard = platform::objectState<Delegate>(delegate.get()).calls() == wanted &&
                       platform::objectState<Interceptor>(interceptor.get()).calls() == wanted;
  if (!isHeard) state.SkipWithError("the interceptor or the application was not called each time");
}

void presentForeign(benchmark::State& state, bool isIntercepted) {
  const bench::QuietPhone phone;
  const Strong delegate = platform::makeObject<CenterDelegate>();
  setCenterDelegate(delegate.get());
  if (isIntercepted) PLMessaging::startService();
  const bool isReplaced =
      class_getMethodImplementation(platform::classOf<CenterDelegate>(), sel_registerName(willPresent)) ==
      platform::implementationOf<&PLSwizzleWillPresentNotificationWithHandler>();
  if (isReplaced != isIntercepted) state.SkipWithError("the delegate's class is not as this case wants it");
  const Strong notification = host::makeNotification(
      Value::dictionary({{"aps", Value::dictionary({{"alert", "Somebody else's"}})}, {"thread", "news"}}));
  const platform::Block<void(platform::UNNotificationPresentationOptions)> handler(
      [](platform::UNNotificationPresentationOptions) {});
  const id center = host::currentNotificationCenter();
  const SEL callback = sel_registerName(willPresent);
  for (auto _ : state) {
    const platform::AutoreleasePool pool;
    platform::send<void(id, id, host::PresentationHandler)>(delegate.get(), callback, center, notification.get(),
                                                            handler.get());
  }
}

/// A launched application with both delegates, before the service starts.
class Launch {
 public:
  Launch() {
    host::UIApplication::install();
    host::installUserNotifications();
    host::startApplication(platform::makeObject<Delegate>());
    setCenterDelegate(centerDelegate_.get());
  }

 private:
  test::TestProcess process_;
  Strong centerDelegate_ = platform::makeObject<CenterDelegate>();
};

void startService(benchmark::State& state, bool countsBytes) {
  std::size_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto launch = std::make_unique<Launch>();
    const std::size_t before = bench::allocatedBytes();
    state.ResumeTiming();
    PLMessaging::startService();
    state.PauseTiming();
    bytes = std::max(bytes, bench::allocatedBytes() - before);  // the first one interns shared data
    launch.reset();
    state.ResumeTiming();
  }
  if (countsBytes) state.counters["bytes"] = static_cast<double>(bytes);
}

void libraryOnDisk(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::filesystem::file_size(PELLION_STRIPPED_LIBRARY));
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(PELLION_STRIPPED_LIBRARY));
}

BENCHMARK(tokenCallback)->Name("token_callback/interceptor_and_own");
BENCHMARK_CAPTURE(presentForeign, own, false)->Name("will_present/own");
BENCHMARK_CAPTURE(presentForeign, intercepted, true)->Name("will_present/foreign");
BENCHMARK_CAPTURE(startService, time, false)->Name("start_service");
BENCHMARK_CAPTURE(startService, allocations, true)->Name("start_service/allocations");
BENCHMARK(libraryOnDisk)->Name("library/stripped");

}  // namespace

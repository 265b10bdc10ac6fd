// Measures the interception: a launch with the service, a callback through it, and the library itself.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "bench/allocations.h"
#include "bench/quiet_phone.h"
#include "host/objc/runtime_functions.h"
#include "host/phone/system_events.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "interception/notification_center_methods.h"
#include "messaging/PLMessaging.h"
#include "platform/object_messages.h"
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

/// Reads the payload in its own implementation, checking each object's class, as the module does before it.
class ReadingDelegate {
 public:
  static constexpr const char* className = "ReadingDelegate";
  static void defineClass(ClassFace<ReadingDelegate>& face) {
    face.conformsTo("UNUserNotificationCenterDelegate").method<&ReadingDelegate::willPresentNotification>(willPresent);
  }
  void willPresentNotification(id /*center*/, id notification, host::PresentationHandler /*handler*/) {
    static constexpr std::pair<const char*, const char*> properties[] = {
        {"request", "UNNotificationRequest"}, {"content", "UNNotificationContent"}, {"userInfo", "NSDictionary"}};
    id object = notification;
    for (const auto& [getter, cls] : properties) {
      object = platform::property(object, getter);
      if (!platform::isKindOfClass(object, objc_getClass(cls))) return;
    }
    if (platform::unboxed(object)->find("addInfo") == nullptr) ++foreign_;
  }

 private:
  std::int64_t foreign_ = 0;
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

template <class Receiver, bool isIntercepted>
void presentForeign(benchmark::State& state) {
  const bench::QuietPhone phone;
  const Strong delegate = platform::makeObject<Receiver>();
  setCenterDelegate(delegate.get());
  if (isIntercepted) PLMessaging::startService();
  const bool isReplaced = class_getMethodImplementation(platform::classOf<Receiver>(), sel_registerName(willPresent)) ==
                          platform::implementationOf<&PLSwizzleWillPresentNotificationWithHandler>();
  if (isReplaced != isIntercepted) state.SkipWithError("the delegate's class is not in the state of this case");
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
    host::startApplication(delegate_);
    setCenterDelegate(centerDelegate_.get());
  }
  [[nodiscard]] id delegate() const { return delegate_.get(); }

 private:
  test::TestProcess process_;
  Strong delegate_ = platform::makeObject<Delegate>();
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

void ignore(id /*self*/, SEL /*selector*/, id /*argument*/) {}

/// The least that any interception of a delegate does: a class pair with three methods, and the switch of the object.
void switchClass(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto launch = std::make_unique<Launch>();
    state.ResumeTiming();
    const Class cls = objc_allocateClassPair(object_getClass(launch->delegate()), "Switched", 0);
    for (const char* selector : {"first:", "second:", "third:"}) {
      class_addMethod(cls, sel_registerName(selector), platform::implementationOf<&ignore>(), "v@:@");
    }
    objc_registerClassPair(cls);
    object_setClass(launch->delegate(), cls);
    state.PauseTiming();
    launch.reset();
    state.ResumeTiming();
  }
}

void libraryOnDisk(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::filesystem::file_size(PELLION_STRIPPED_LIBRARY));
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(PELLION_STRIPPED_LIBRARY));
}

BENCHMARK(tokenCallback)->Name("token_callback/interceptor_and_own");
BENCHMARK(presentForeign<CenterDelegate, false>)->Name("will_present/own");
BENCHMARK(presentForeign<ReadingDelegate, false>)->Name("will_present/by_hand");
BENCHMARK(presentForeign<CenterDelegate, true>)->Name("will_present/foreign");
BENCHMARK_CAPTURE(startService, time, false)->Name("start_service");
BENCHMARK_CAPTURE(startService, allocations, true)->Name("start_service/allocations");
BENCHMARK(switchClass)->Name("start_service/class_switch");
BENCHMARK(libraryOnDisk)->Name("library/stripped");

}  // namespace

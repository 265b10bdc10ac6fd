// What foundation/system/ takes from Foundation and from other processes.

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/core_library.h"
#include "platform/dispatch.h"
#include "platform/exception.h"
#include "platform/object_messages.h"
#include "platform/reference.h"
#include "platform/url_session.h"
#include "platform/user_defaults.h"
#include "tests/foundation/runtime_cases.h"
#include "tests/support/platform_process.h"

namespace {

using platform::Value;

class System : public testing::Test {
 protected:
  static std::shared_ptr<platform::UserDefaults> suite() {
    return platform::UserDefaults::initWithSuiteName("group.system");
  }

  test::PlatformProcess process_;
};

TEST_F(System, DefaultsHaveTheChangesOfOtherProcessesAtOnce) {
  suite()->setObject(1, "shared");
  const pid_t child = fork();
  if (child == 0) {
    suite()->setObject(2, "shared");
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_EQ(suite()->objectForKey("shared"), Value(2));
}

TEST_F(System, DefaultsKeepDates) {
  suite()->setObject(Value::object(cases_date()), "date");
  const auto stored = suite()->objectForKey("date");
  ASSERT_TRUE(stored && stored->ifObject() != nullptr);
  EXPECT_TRUE(platform::send<bool(id)>(stored->ifObject(), sel_registerName("isEqual:"), cases_date()));
}

TEST_F(System, WorkThatRaisesEndsNeitherTheRunLoopNorTheWorkBehindIt) {
  bool isRun = false;
  platform::dispatchAsyncOnMainQueue([] { throw platform::Exception("WorkException", "in the queue"); });
  platform::dispatchAsyncOnMainQueue([&] { isRun = true; });
  EXPECT_TRUE(process_.runUntil([&] { return isRun; }));
}

TEST_F(System, CompressionThatNoLibraryHasIsAbsent) {
  EXPECT_EQ(platform::pl_gzippedData(Value::bytes("text"), 1), std::nullopt);
}

id infoWithClearTextHost(id /*self*/, SEL /*selector*/) {
  const Value allowed = Value::dictionary({{"NSExceptionAllowsInsecureHTTPLoads", true}});
  const Value refused = Value::dictionary({{"NSExceptionAllowsInsecureHTTPLoads", false}});
  return platform::boxed(Value::dictionary(
      {{"NSAppTransportSecurity",
        Value::dictionary(
            {{"NSExceptionDomains", Value::dictionary({{"0.0.0.0", allowed}, {"0.0.0.1", refused}})}})}}));
}

TEST_F(System, ClearTextIsAllowedToTheHostsOfTheInfoPlist) {
  method_setImplementation(class_getInstanceMethod(objc_getClass("NSBundle"), sel_registerName("infoDictionary")),
                           reinterpret_cast<IMP>(&infoWithClearTextHost));
  const auto errorOf = [&](const char* url) {
    std::atomic<std::int64_t> code = 0;
    const platform::URLRequest request{platform::URL::URLWithString(url), "GET", {}, {}, false};
    const auto task = platform::URLSession::sessionWithDefaultConfiguration()->dataTaskWithRequest(
        request, [&](const Value*, const platform::HTTPURLResponse*, const platform::Error* error) {
          code = error != nullptr ? error->code : 1;
        });
    task->resume();
    EXPECT_TRUE(process_.runUntil([&] { return code != 0; }));
    return code.load();
  };
  EXPECT_EQ(errorOf("http://0.0.0.0:1/"), -1004) << "no server is there";
  EXPECT_EQ(errorOf("http://0.0.0.1:1/"), -1022) << "in clear text";
}

std::atomic<bool> hasExitBegun = false;

// The handler's work lasts longer than the exit would without it.
TEST_F(System, ExitWaitsForTheHandlerThatRuns) {
  const auto exitDuringAHandler = [] {
    std::atomic<bool> isRunning = false;
    const platform::URLRequest request{platform::URL::URLWithString("http://127.0.0.1:1/"), "GET", {}, {}, false};
    const auto session = platform::URLSession::sessionWithDefaultConfiguration();
    std::atexit([] { hasExitBegun = true; });
    session
        ->dataTaskWithRequest(request,
                              [&](const Value*, const platform::HTTPURLResponse*, const platform::Error*) {
                                isRunning = true;
                                while (!hasExitBegun) std::this_thread::yield();
                                for (volatile int i = 0; i < 20'000'000;) i = i + 1;
                                std::fputs("to the end\n", stderr);
                              })
        ->resume();
    while (!isRunning) std::this_thread::yield();
    std::exit(0);
  };
  EXPECT_EXIT(exitDuringAHandler(), testing::ExitedWithCode(0), "to the end");
}

}  // namespace

// A look-up of a name takes any time, and cannot be interrupted.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <future>

#include "host/phone/process.h"
#include "platform/url_session.h"
#include "services/url_loading/network.h"
#include "tests/support/loopback_server.h"

namespace {

constexpr std::string_view hangingName = "hanging.example";
std::promise<void> asked;
std::promise<void> answered;

}  // namespace

/// Replaces the C library's function: the look-up of one name hangs until the test releases it.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name, const char* service,
                                                                  const addrinfo* hints, addrinfo** found) {
  if (name != nullptr && name == hangingName) {
    asked.set_value();
    answered.get_future().wait();
    return EAI_NONAME;
  }
  static const auto original = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return original(name, service, hints, found);
}

namespace {

TEST(NameLookup, DoesNotDelayOthersWhileItHangs) {
  using platform::Error;
  test::LoopbackServer server([](const auto&) { return test::LoopbackServer::Reply{"HTTP/1.1 200 OK\r\n\r\n{}"}; });
  host::Clock clock{host::Clock::Kind::virtualTime};
  services::Network network;
  const services::NetworkPolicy policy{{}, {std::string(hangingName)}, std::chrono::milliseconds(100)};
  std::optional<host::Process> waiting(
      host::Process::Environment{clock, network, std::make_shared<const services::NetworkPolicy>(policy)});
  std::optional<host::Process> other(host::Process::Environment{clock, network});
  const auto load = [](host::Process& process, const std::string& url) {
    std::int64_t code = 1;
    const host::ProcessScope scope(process);
    platform::URLSession::sessionWithDefaultConfiguration()
        ->dataTaskWithRequest(
            {platform::URL::URLWithString(url), "GET", {}, std::nullopt},
            [&](const auto*, const auto*, const Error* error) { code = error == nullptr ? 0 : error->code; })
        ->resume();
    process.mainQueue().runUntilIdle();
    return code;
  };
  EXPECT_EQ(load(*waiting, "http://" + std::string(hangingName) + "/"), -1001);
  asked.get_future().wait();
  EXPECT_EQ(load(*other, server.url("/")), 0);
  waiting.reset();
  other.reset();
  answered.set_value();
}

}  // namespace

#include "tests/support/platform_process.h"

#include <chrono>

#include "host/objc/programming_error.h"
#include "host/phone/process.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "services/url_loading/network.h"
#include "tests/support/raised.h"
#include "tests/support/temporary_directory.h"

namespace test {

struct PlatformProcess::State {
  TemporaryDirectory directory;
  host::Clock clock{host::Clock::Kind::virtualTime};
  services::Network network;
  host::Process process{{.clock = clock, .network = network, .appGroups = directory.path()}};
  host::ProcessScope scope{process};
};

PlatformProcess::PlatformProcess() : state_(std::make_unique<State>()) {
  host::UIApplication::install();
  host::installUserNotifications();
}
PlatformProcess::~PlatformProcess() = default;

bool PlatformProcess::runUntil(const std::function<bool()>& isOver) {
  for (int second = 0; second <= 10; ++second) {
    state_->process.mainQueue().advance(std::chrono::seconds(second == 0 ? 0 : 1));
    if (isOver()) return true;
  }
  return false;
}

struct OtherThread::State {
  explicit State(host::Process& process) : scope(process) {}
  host::ProcessScope scope;
};

OtherThread::OtherThread(PlatformProcess& process) : state_(std::make_unique<State>(process.state_->process)) {}
OtherThread::~OtherThread() = default;

std::string programmingErrorIn(const std::function<void()>& work) { return thrown<host::ProgrammingError>(work); }

}  // namespace test

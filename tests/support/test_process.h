#pragma once

#include "host/phone/process.h"
#include "services/url_loading/network.h"

namespace test {

/// A process of its own, current on this thread, without a phone.
class TestProcess {
 public:
  explicit TestProcess(bool linkedBefore17 = false)
      : process_({.clock = clock_, .network = network_, .linkedBefore17 = linkedBefore17}) {}

  host::Process* operator->() { return &process_; }
  operator host::Process&() { return process_; }

 private:
  host::Clock clock_{host::Clock::Kind::virtualTime};
  services::Network network_;
  host::Process process_;
  host::ProcessScope scope_{process_};
};

}  // namespace test

#pragma once

#include "host/process.h"

namespace test {

/// A process of its own, current on this thread, with nothing around it.
class TestProcess {
 public:
  host::Process* operator->() { return &process_; }
  operator host::Process&() { return process_; }

 private:
  host::Clock clock_{host::Clock::Kind::virtualTime};
  host::Network network_;
  host::Process process_{{clock_, network_}};
  host::ProcessScope scope_{process_};
};

}  // namespace test

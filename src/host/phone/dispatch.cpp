#include "platform/dispatch.h"

#include <utility>

#include "host/phone/process.h"
#include "services/dispatch_group.h"

namespace platform {

void dispatchAsyncOnMainQueue(std::function<void()> work) {
  host::Process::current().mainQueue().async(std::move(work));
}

void dispatchAfterOnMainQueue(std::chrono::nanoseconds delay, std::function<void()> work) {
  host::Process::current().mainQueue().after(delay, std::move(work));
}

}  // namespace platform

services::MainQueue services::mainQueue() {
  return [queue = host::Process::current().sharedMainQueue()](std::function<void()> work) {
    queue->async(std::move(work));
  };
}

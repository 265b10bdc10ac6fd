#include "platform/invocation.h"

#include <bit>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "platform/exception.h"
#include "platform/send.h"
#include "services/call_interface.h"

namespace platform {

struct Invocation::Interface {
  const services::CallInterface& calls;

  static const Interface* find(const char* types);
};

/// Like the encodings that they are made of, interfaces are few and exist until the program ends.
const Invocation::Interface* Invocation::Interface::find(const char* types) {
  if (types == nullptr) return nullptr;
  thread_local const Interface* last = nullptr;
  if (last != nullptr && std::strcmp(last->calls.types(), types) == 0) return last;
  const services::CallInterface* calls = services::CallInterface::find(types);
  if (calls == nullptr || calls->count() > mostArguments) return nullptr;
  static auto& mutex = *new std::mutex;
  static auto& all = *new std::map<const services::CallInterface*, Interface>;
  const std::lock_guard lock(mutex);
  return last = &all.try_emplace(calls, Interface{*calls}).first->second;
}

std::optional<Invocation> Invocation::invocationWithObjCTypes(const char* types) {
  const Interface* interface = Interface::find(types);
  return interface != nullptr ? std::optional(Invocation(*interface)) : std::nullopt;
}

void Invocation::setTarget(id target) { arguments_[0] = std::bit_cast<std::uint64_t>(target); }

void Invocation::setSelector(SEL selector) { arguments_[1] = std::bit_cast<std::uint64_t>(selector); }

void Invocation::setArgument(const void* location, std::size_t index) {
  if (index >= interface_->calls.count()) {
    throw Exception(invalidArgumentException, "-[NSInvocation setArgument:atIndex:]: index (" + std::to_string(index) +
                                                  ") out of bounds [0, " +
                                                  std::to_string(interface_->calls.count() - 1) + "]");
  }
  const std::size_t size = interface_->calls.argumentSize(index);
  if (size == sizeof(std::uint64_t)) {
    std::memcpy(&arguments_[index], location, sizeof(std::uint64_t));
  } else {
    std::memcpy(&arguments_[index], location, size);
  }
}

void Invocation::invoke() {
  const id target = std::bit_cast<id>(arguments_[0]);
  const auto selector = std::bit_cast<SEL>(arguments_[1]);
  result_ = 0;
  if (target == nullptr) return;
  if (selector == nullptr) throw Exception(invalidArgumentException, "-[NSInvocation invoke]: no selector is set");
  const MethodCall call = methodForCall(target, selector, interface_->calls.types());
  result_ = interface_->calls.call(call.implementation, call.receiver, arguments_);
}

void Invocation::getReturnValue(void* location) const {
  std::memcpy(location, &result_, interface_->calls.resultSize());
}

}  // namespace platform

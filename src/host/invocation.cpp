#include "platform/invocation.h"

#include <ffi.h>

#include <bit>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/objc_runtime.h"
#include "host/type_encoding.h"
#include "platform/exception.h"
#include "platform/process.h"
#include "platform/send.h"

namespace host {
namespace {

static_assert(std::endian::native == std::endian::little, "a short result is read from the start of its wide place");

ffi_type* typeOf(char letter) {
  switch (letter) {
    case 'v': return &ffi_type_void;
    case 'c': return &ffi_type_sint8;
    case 'B':
    case 'C': return &ffi_type_uint8;
    case 's': return &ffi_type_sint16;
    case 'S': return &ffi_type_uint16;
    case 'l':
    case 'i': return &ffi_type_sint32;
    case 'L':
    case 'I': return &ffi_type_uint32;
    case 'q': return &ffi_type_sint64;
    case 'Q': return &ffi_type_uint64;
    case 'f': return &ffi_type_float;
    case 'd': return &ffi_type_double;
    default: return &ffi_type_pointer;
  }
}

}  // namespace

/// How to call every method of one encoding.
struct CallInterface {
  explicit CallInterface(const char* encoding, std::string_view letters) : types(interned(encoding)) {
    for (const char letter : letters.substr(1)) arguments.push_back(typeOf(letter));
    result = typeOf(letters.front());
    ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(arguments.size()), result, arguments.data());
  }
  CallInterface(const CallInterface&) = delete;
  CallInterface& operator=(const CallInterface&) = delete;

  const char* types;
  ffi_type* result;
  std::vector<ffi_type*> arguments;
  mutable ffi_cif cif{};  // ffi_call only reads it
};

namespace {

class CallInterfaces {
 public:
  /// Null for an encoding that is malformed.
  const CallInterface* find(const char* types) {
    if (types == nullptr) return nullptr;
    const std::lock_guard lock(mutex_);
    if (const auto known = byTypes_.find(std::string_view(types)); known != byTypes_.end()) return &known->second;
    const auto letters = typeLetters(types);
    return letters ? &byTypes_.try_emplace(types, types, *letters).first->second : nullptr;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, CallInterface, std::less<>> byTypes_;
};

}  // namespace
}  // namespace host

namespace platform {

struct Invocation::State {
  explicit State(const host::CallInterface& call) : interface(call), arguments(call.arguments.size()) {}

  template <class T>
  void set(T argument, std::size_t index) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a pointer itself is the argument
    std::memcpy(&arguments[index], &argument, sizeof(argument));
  }

  const host::CallInterface& interface;
  std::vector<std::uint64_t> arguments;  // every argument is a scalar or a pointer
  std::uint64_t result = 0;
};

std::optional<Invocation> Invocation::invocationWithObjCTypes(const char* types) {
  const auto* interface = Process::shared<host::CallInterfaces>().find(types);
  if (interface == nullptr) return std::nullopt;
  return Invocation(std::make_shared<State>(*interface));
}

void Invocation::setTarget(id target) { state_->set(target, 0); }

void Invocation::setSelector(SEL selector) { state_->set(selector, 1); }

void Invocation::setArgument(const void* location, std::size_t index) {
  const std::size_t count = state_->arguments.size();
  if (index >= count) {
    throw Exception(invalidArgumentException, "-[NSInvocation setArgument:atIndex:]: index (" + std::to_string(index) +
                                                  ") out of bounds [0, " + std::to_string(count - 1) + "]");
  }
  std::memcpy(&state_->arguments[index], location, state_->interface.arguments[index]->size);
}

void Invocation::invoke() {
  id target = std::bit_cast<id>(state_->arguments[0]);
  const auto selector = std::bit_cast<SEL>(state_->arguments[1]);
  state_->result = 0;
  if (target == nullptr) return;
  if (selector == nullptr) throw Exception(invalidArgumentException, "-[NSInvocation invoke]: no selector is set");
  const MethodCall call = methodForCall(target, selector, state_->interface.types);
  std::vector<void*> places;
  for (std::uint64_t& argument : state_->arguments) places.push_back(&argument);
  target = call.receiver;
  places[0] = &target;
  ffi_call(&state_->interface.cif, call.implementation, &state_->result, places.data());
}

void Invocation::getReturnValue(void* location) const {
  const ffi_type* type = state_->interface.result;
  if (type != &ffi_type_void) std::memcpy(location, &state_->result, type->size);
}

}  // namespace platform

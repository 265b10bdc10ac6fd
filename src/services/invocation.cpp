#include "platform/invocation.h"

#include <ffi.h>

#include <bit>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "platform/exception.h"
#include "platform/send.h"
#include "services/ffi_type.h"
#include "value/type_encoding.h"

namespace platform {
namespace {

using services::ffiType;

static_assert(std::endian::native == std::endian::little, "a short argument is stored at the start of its wide slot");

}  // namespace

struct Invocation::Interface {
  Interface(const char* encoding, std::string_view letters)
      : types(encoding), count(letters.size() - 1), result(ffiType(letters.front())) {
    for (std::size_t i = 0; i < count; ++i) arguments[i] = ffiType(letters[i + 1]);
    takesWords = count <= wordRegisters && letters.front() != 'f' && letters.front() != 'd' &&
                 letters.find_first_of("fdcs", 1) == std::string_view::npos;
    ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(count), result, arguments.data());
  }
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

  static const Interface* find(const char* types);
  std::uint64_t call(IMP code, id receiver, const std::array<std::uint64_t, mostArguments>& words) const;

#if defined(__x86_64__) || defined(__aarch64__)
  static constexpr std::size_t wordRegisters = 6;  // on both, a function ignores registers beyond its arguments
#else
  static constexpr std::size_t wordRegisters = 0;
#endif
  const std::string types;
  std::size_t count;
  ffi_type* result;
  std::array<ffi_type*, mostArguments> arguments{};
  /// Only integers and pointers, few enough for registers, and none whose sign the caller has to extend.
  bool takesWords;
  mutable ffi_cif cif{};  // ffi_call only reads it
};

/// Like type encodings, interfaces are few and exist until the program ends.
const Invocation::Interface* Invocation::Interface::find(const char* types) {
  if (types == nullptr) return nullptr;
  thread_local const Interface* last = nullptr;
  if (last != nullptr && last->types == types) return last;
  static auto& mutex = *new std::mutex;
  static auto& byTypes = *new std::map<std::string, Interface, std::less<>>;
  const std::lock_guard lock(mutex);
  auto known = byTypes.find(std::string_view(types));
  if (known == byTypes.end()) {
    const auto letters = value::typeLetters(types);
    if (!letters || letters->size() - 1 > mostArguments) return nullptr;
    known = byTypes.try_emplace(types, types, *letters).first;
  }
  return last = &known->second;
}

std::uint64_t Invocation::Interface::call(IMP code, id receiver,
                                          const std::array<std::uint64_t, mostArguments>& words) const {
  if (takesWords) {
    using Word = std::uint64_t;
    const auto function = reinterpret_cast<Word (*)(id, Word, Word, Word, Word, Word)>(code);
    return function(receiver, words[1], words[2], words[3], words[4], words[5]);
  }
  auto copies = words;
  copies[0] = std::bit_cast<std::uint64_t>(receiver);
  std::array<void*, mostArguments> places{};
  for (std::size_t i = 0; i < count; ++i) places[i] = &copies[i];
  std::uint64_t answer = 0;
  ffi_call(&cif, code, &answer, places.data());
  return answer;
}

std::optional<Invocation> Invocation::invocationWithObjCTypes(const char* types) {
  const Interface* interface = Interface::find(types);
  return interface != nullptr ? std::optional(Invocation(*interface)) : std::nullopt;
}

void Invocation::setTarget(id target) { arguments_[0] = std::bit_cast<std::uint64_t>(target); }

void Invocation::setSelector(SEL selector) { arguments_[1] = std::bit_cast<std::uint64_t>(selector); }

void Invocation::setArgument(const void* location, std::size_t index) {
  if (index >= interface_->count) {
    throw Exception(invalidArgumentException, "-[NSInvocation setArgument:atIndex:]: index (" + std::to_string(index) +
                                                  ") out of bounds [0, " + std::to_string(interface_->count - 1) + "]");
  }
  const std::size_t size = interface_->arguments[index]->size;
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
  const MethodCall call = methodForCall(target, selector, interface_->types.c_str());
  result_ = interface_->call(call.implementation, call.receiver, arguments_);
}

void Invocation::getReturnValue(void* location) const {
  const ffi_type* type = interface_->result;
  if (type != &ffi_type_void) std::memcpy(location, &result_, type->size);
}

}  // namespace platform

#include "services/call_interface.h"

#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <map>
#include <new>

#include "services/ffi_type.h"
#include "value/type_encoding.h"

namespace services {
namespace {

static_assert(std::endian::native == std::endian::little, "a short argument is stored at the start of its wide slot");

}  // namespace

const CallInterface* CallInterface::find(const char* types) {
  if (types == nullptr) return nullptr;
  static auto& mutex = *new std::mutex;
  static auto& byTypes = *new std::map<std::string, CallInterface, std::less<>>;
  const std::lock_guard lock(mutex);
  auto known = byTypes.find(std::string_view(types));
  if (known == byTypes.end()) {
    const auto letters = value::typeLetters(types);
    if (!letters) return nullptr;
    known = byTypes.try_emplace(types, types, *letters).first;
  }
  return &known->second;
}

CallInterface::CallInterface(const char* encoding, std::string_view letters)
    : types_(encoding), letters_(letters), result_(ffiType(letters.front())) {
  for (const char letter : letters.substr(1)) arguments_.push_back(ffiType(letter));
  takesWords_ = count() <= wordRegisters && letters.front() != 'f' && letters.front() != 'd' &&
                letters.find_first_of("fdcs", 1) == std::string_view::npos;
  ffi_prep_cif(&cif_, FFI_DEFAULT_ABI, static_cast<unsigned>(count()), result_, arguments_.data());
}

std::uint64_t CallInterface::call(IMP code, id receiver, std::span<const std::uint64_t> words) const {
  if (takesWords_) {
    using Word = std::uint64_t;
    const auto function = reinterpret_cast<Word (*)(id, Word, Word, Word, Word, Word)>(code);
    return function(receiver, words[1], words[2], words[3], words[4], words[5]);
  }
  std::vector<std::uint64_t> copies(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(count()));
  copies[0] = std::bit_cast<std::uint64_t>(receiver);
  std::vector<void*> places;
  places.reserve(copies.size());
  for (std::uint64_t& word : copies) places.push_back(&word);
  std::uint64_t answer = 0;
  ffi_call(&cif_, code, &answer, places.data());
  return answer;
}

IMP CallInterface::entryTo(Receiver receiver) const {
  std::call_once(entryOnce_, [this, receiver] {
    void* code = nullptr;
    auto* closure = static_cast<ffi_closure*>(ffi_closure_alloc(sizeof(ffi_closure), &code));
    if (closure == nullptr) throw std::bad_alloc();
    ffi_prep_closure_loc(closure, &cif_, &CallInterface::receive, const_cast<CallInterface*>(this), code);
    receiver_ = receiver;
    entry_ = reinterpret_cast<IMP>(code);
  });
  return entry_;
}

void CallInterface::receive(ffi_cif* /*cif*/, void* result, void** arguments, void* self) {
  const auto& interface = *static_cast<const CallInterface*>(self);
  std::vector<std::uint64_t> words(std::max(interface.count(), wordRegisters));
  for (std::size_t i = 0; i < interface.count(); ++i) {
    std::memcpy(&words[i], arguments[i], interface.argumentSize(i));
  }
  const std::uint64_t answer = interface.receiver_(interface, words);
  if (interface.resultSize() != 0) std::memcpy(result, &answer, sizeof answer);
}

}  // namespace services

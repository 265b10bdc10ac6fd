#pragma once

#include <ffi.h>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/objc.h"

namespace services {

/// How methods of one type encoding are called, and how a call of such a method is received as data. An argument is a
/// word: a scalar or a pointer at the start of 64 bits; the receiver and the selector are the first two.
class CallInterface {
 public:
  /// Null for a null or malformed encoding. Interfaces exist until the program ends; any thread.
  static const CallInterface* find(const char* types);

  CallInterface(const char* encoding, std::string_view letters);
  CallInterface(const CallInterface&) = delete;
  CallInterface& operator=(const CallInterface&) = delete;

  [[nodiscard]] const char* types() const { return types_.c_str(); }
  /// The encoding in short form: see value::typeLetters.
  [[nodiscard]] const std::string& letters() const { return letters_; }
  [[nodiscard]] std::size_t count() const { return arguments_.size(); }
  [[nodiscard]] std::size_t argumentSize(std::size_t index) const { return arguments_[index]->size; }
  [[nodiscard]] std::size_t resultSize() const { return result_ == &ffi_type_void ? 0 : result_->size; }

  /// Calls `code` with `receiver` in the place of the first word. At least `wordRegisters` words must be readable.
  std::uint64_t call(IMP code, id receiver, std::span<const std::uint64_t> words) const;

  using Receiver = std::uint64_t (*)(const CallInterface& interface, std::span<const std::uint64_t> words);
  /// The code of a method of this encoding that passes its call to `receiver` and returns what that returns. A program
  /// has one receiver.
  [[nodiscard]] IMP entryTo(Receiver receiver) const;

#if defined(__x86_64__) || defined(__aarch64__)
  static constexpr std::size_t wordRegisters = 6;  // on both, a function ignores registers beyond its arguments
#else
  static constexpr std::size_t wordRegisters = 0;
#endif
  /// Whether a call has only integers and pointers, few enough for registers, and none whose sign the caller extends.
  [[nodiscard]] bool takesWords() const { return takesWords_; }

 private:
  static void receive(ffi_cif* cif, void* result, void** arguments, void* self);

  std::string types_;
  std::string letters_;
  ffi_type* result_;
  std::vector<ffi_type*> arguments_;
  bool takesWords_;
  mutable ffi_cif cif_{};  // ffi_call only reads it
  mutable std::once_flag entryOnce_;
  mutable Receiver receiver_ = nullptr;
  mutable IMP entry_ = nullptr;
};

}  // namespace services

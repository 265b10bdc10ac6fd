// Sending messages from C++. Each signature has a guard: one function serves all that pass a few integers and pointers;
// a closure of libffi is made for each other one. A thread remembers which classes' methods it has checked against the
// types by which they are called.

#include "platform/send.h"

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/objc/direct_mapped.h"
#include "foundation/objc/guard.h"
#include "foundation/objc/required_repairs.h"
#include "foundation/objc/runtime_functions.h"
#include "platform/programming_error.h"
#include "services/ffi_type.h"
#include "value/type_encoding.h"

namespace foundation {
namespace {

/// The compilers' encodings differ where the platform's do: a boolean is a character, and 64-bit integers, pointers and
/// objects have several letters.
std::optional<std::string> comparableLetters(const char* types) {
  auto letters = value::typeLetters(types);
  if (!letters) return std::nullopt;
  for (char& letter : *letters) {
    switch (letter) {
      case 'c':
      case 'C': letter = 'B'; break;
      case 'l': letter = 'q'; break;
      case 'L': letter = 'Q'; break;
      case '?':
      case '#':
      case '^':
      case '*': letter = '@'; break;
      default: break;
    }
  }
  return letters;
}

void checkTypes(id receiver, const char* declared, SEL selector, const char* types) {
  if (declared != nullptr && std::string_view(declared) == FOUNDATION_ANY_ENCODING) return;
  const auto declaredLetters = comparableLetters(declared);
  if (!declaredLetters || declaredLetters == comparableLetters(types)) return;
  const Class cls = object_getClass(receiver);
  value::raiseOtherTypes(class_getName(cls), sel_getName(selector), class_isMetaClass(cls), types, declared);
}

/// A guard for the methods of one signature.
class GuardClosure {
 public:
  explicit GuardClosure(const std::string& letters) {
    for (std::size_t i = 1; i < letters.size(); ++i) arguments_.push_back(services::ffiType(letters[i]));
    const auto count = static_cast<unsigned>(arguments_.size());
    void* code = nullptr;
    closure_ = static_cast<ffi_closure*>(ffi_closure_alloc(sizeof(ffi_closure), &code));
    if (closure_ == nullptr ||
        ffi_prep_cif(&signature_, FFI_DEFAULT_ABI, count, services::ffiType(letters[0]), arguments_.data()) != FFI_OK ||
        ffi_prep_closure_loc(closure_, &signature_, &GuardClosure::enter, nullptr, code) != FFI_OK) {
      platform::programmingError("libffi makes no closure for a method of the types " + letters);
    }
    code_ = reinterpret_cast<IMP>(code);
  }
  [[nodiscard]] IMP code() const { return code_; }

 private:
  static void enter(ffi_cif* signature, void* result, void** arguments, void* /*data*/) {
    foundation_guardedCall(signature, result, arguments);
  }

  std::vector<ffi_type*> arguments_;
  ffi_cif signature_{};
  ffi_closure* closure_ = nullptr;
  IMP code_ = nullptr;
};

IMP guardFor(const char* types) {
  const auto letters = value::typeLetters(types);
  if (!letters) platform::programmingError(std::string("no method has the types ") + types);
  const bool hasFloats = letters->find_first_of("fd") != std::string::npos;
  if (!hasFloats && letters->size() <= 3 + foundation_guardedWordCount) {
    return reinterpret_cast<IMP>(&foundation_guardedWords);
  }
  static auto& mutex = *new std::mutex;
  static auto& closures = *new std::map<std::string, GuardClosure>;  // signatures are few
  const std::lock_guard lock(mutex);
  return closures.try_emplace(*letters, *letters).first->second.code();
}

struct CheckedCall {
  Class cls;
  SEL selector;
  const char* types;
  IMP code;
};
/// Two calls that a thread makes in turn do not displace each other.
using CheckedCalls = std::array<CheckedCall, 2>;

[[noreturn]] void raiseUnrecognized(id receiver, SEL selector) {
  const Class cls = object_getClass(receiver);
  platform::raiseUnrecognizedSelector(class_getName(cls), sel_getName(selector), receiver, class_isMetaClass(cls));
}

/// Asks the receiver about a message that its class has no method for. Null: nothing.
id asked(id receiver, const char* question, SEL selector) {
  const SEL questionSelector = sel_registerName(question);
  if (class_getInstanceMethod(object_getClass(receiver), questionSelector) == nullptr) return nullptr;
  return platform::send<id(SEL)>(receiver, questionSelector, selector);
}

/// A class resolves its own missing methods in another way than those of its instances.
Method methodOf(id receiver, Class cls, SEL selector) {
  return class_isMetaClass(cls) ? class_getClassMethod(reinterpret_cast<Class>(receiver), selector)
                                : class_getInstanceMethod(cls, selector);
}

constexpr int longestForwarding = 64;  // two objects that forward to each other must not hang the program

[[gnu::noinline]] platform::MethodCall checkedCall(id receiver, SEL selector, const char* types,
                                                   CheckedCalls& remembered) {
  const IMP code = guardFor(types);
  for (int hop = 0; hop < longestForwarding; ++hop) {
    const Class cls = object_getClass(receiver);
    if (const Method method = methodOf(receiver, cls, selector)) {
      checkTypes(receiver, method_getTypeEncoding(method), selector, types);
      remembered = {CheckedCall{cls, selector, types, code}, remembered[0]};
      return {receiver, code};
    }
    const id target = asked(receiver, "forwardingTargetForSelector:", selector);
    if (target == nullptr || target == receiver) {
      // With a signature, the runtime sends -forwardInvocation:.
      const id signature = asked(receiver, "methodSignatureForSelector:", selector);
      if (signature == nullptr) raiseUnrecognized(receiver, selector);
      checkTypes(receiver, platform::send<const char*()>(signature, sel_registerName("methodType")), selector, types);
      return {receiver, code};
    }
    receiver = target;
  }
  raiseUnrecognized(receiver, selector);
}

}  // namespace
}  // namespace foundation

namespace platform {

MethodCall methodForCall(id receiver, SEL selector, const char* types) {
  thread_local foundation::DirectMapped<foundation::CheckedCalls, 256> checked;
  const Class cls = object_getClass(receiver);
  foundation::CheckedCalls& places =
      checked.placeOf(reinterpret_cast<std::uintptr_t>(cls) * 31 + reinterpret_cast<std::uintptr_t>(selector));
  for (const foundation::CheckedCall& known : places) {
    if (known.cls == cls && known.selector == selector && known.types == types) [[likely]] {
      return {receiver, known.code};
    }
  }
  return foundation::checkedCall(receiver, selector, types, places);
}

SEL uniqueSelector(SEL selector) {
  struct Known {
    SEL selector;
    SEL unique;
  };
  thread_local foundation::DirectMapped<Known, 64> all;  // selectors live as long as the program
  Known& known = all.placeOf(selector);
  if (known.selector != selector) known = {selector, sel_registerName(sel_getName(selector))};
  return known.unique;
}

}  // namespace platform

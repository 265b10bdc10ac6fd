#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

#include "platform/block.h"
#include "platform/exception.h"
#include "platform/objc.h"

namespace platform {

template <class T>
inline constexpr bool isBlockPtr = false;
template <class S>
inline constexpr bool isBlockPtr<BlockObject<S>*> = true;

/// The type encoding letter of a C++ type, as the platform documents encodings (64-bit).
template <class T>
consteval const char* encodingOf() {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_enum_v<U>) {
    return encodingOf<std::underlying_type_t<U>>();
  } else if constexpr (std::is_void_v<U>) {
    return "v";
  } else if constexpr (std::is_same_v<U, bool>) {
    return "B";
  } else if constexpr (std::is_integral_v<U>) {
    constexpr bool isSigned = std::is_signed_v<U>;
    switch (sizeof(U)) {
      case 1: return isSigned ? "c" : "C";
      case 2: return isSigned ? "s" : "S";
      case 4: return isSigned ? "i" : "I";
      default: return isSigned ? "q" : "Q";
    }
  } else if constexpr (std::is_same_v<U, float>) {
    return "f";
  } else if constexpr (std::is_same_v<U, double>) {
    return "d";
  } else if constexpr (std::is_same_v<U, id>) {
    return "@";
  } else if constexpr (std::is_same_v<U, Class>) {
    return "#";
  } else if constexpr (std::is_same_v<U, SEL>) {
    return ":";
  } else if constexpr (std::is_same_v<U, const char*> || std::is_same_v<U, char*>) {
    return "*";
  } else {
    static_assert(std::is_pointer_v<U>, "a method takes and returns scalars, pointers and objects");
    return isBlockPtr<U> ? "@?" : "^v";
  }
}

/// The whole encoding of a method `R (id, SEL, A...)`: "v@:@" and the like, without frame offsets.
template <class R, class... A>
inline constexpr auto methodEncoding = [] {
  std::array<char, 2 * (sizeof...(A) + 1) + 3> text{};
  std::size_t length = 0;
  const auto append = [&](const char* part) {
    while (*part != '\0') text[length++] = *part++;
  };
  append(encodingOf<R>());
  append("@:");
  (append(encodingOf<A>()), ...);
  return text;
}();

struct MethodCall {
  id receiver;  ///< may differ from the receiver of the message: a forwarding target
  IMP implementation;
};

/// Implemented by the backend, for send(): finds the code that runs for `selector` on the non-null `receiver`. `types`
/// is the encoding by which the caller will call it. Raises NSInvalidArgumentException when there is no such method
/// ("unrecognized selector") or when it is declared with other types. The code found raises platform::Exception;
/// a runtime with exceptions of its own returns code that translates them.
MethodCall methodForCall(id receiver, SEL selector, const char* types);

/// Implemented by the backend: returns the selector that sel_registerName returns for this selector's name. A runtime
/// may have several selectors of one name that differ in their types.
SEL uniqueSelector(SEL selector);

/// Calls a method's code as a method of that signature: `callImplementation<void(id)>(code, receiver, selector,
/// argument)`. What the code raises passes as the platform's own exception, which no `catch` need see: a caller that
/// catches sends a message.
template <class Signature>
struct ImplementationCaller;
template <class R, class... A>
struct ImplementationCaller<R(A...)> {
  static R call(IMP implementation, id receiver, SEL selector, A... args) {
    return reinterpret_cast<R (*)(id, SEL, A...)>(implementation)(receiver, selector, args...);
  }
};
template <class Signature, class... Args>
auto callImplementation(IMP implementation, id receiver, SEL selector, Args... args) {
  return ImplementationCaller<Signature>::call(implementation, receiver, selector, args...);
}

template <class Signature>
struct Sender;
template <class R, class... A>
struct Sender<R(A...)> {
  static R send(id receiver, SEL selector, A... args) {
    if (receiver == nullptr) return R();
    const MethodCall call = methodForCall(receiver, selector, methodEncoding<R, A...>.data());
    return ImplementationCaller<R(A...)>::call(call.implementation, call.receiver, selector, args...);
  }
};

/// Sends a message: `send<long(id)>(receiver, selector, argument)`. A null receiver gives zero.
template <class Signature, class... Args>
auto send(id receiver, SEL selector, Args... args) {
  return Sender<Signature>::send(receiver, selector, args...);
}

/// Returns a class as an object: the receiver of its class methods.
inline id classObject(Class cls) { return reinterpret_cast<id>(cls); }

/// The entry point of a method written as a plain function. It passes on the unique selector of the method's name.
template <auto Function>
struct MethodEntry;
template <class R, class... A, R (*Function)(id, SEL, A...)>
struct MethodEntry<Function> {
  static R code(id self, SEL selector, A... args) {
    return enter([&]() -> R { return Function(self, uniqueSelector(selector), args...); });
  }
};

/// Returns one of our methods as the runtime takes it: `implementationOf<&function>()` for `R function(id, SEL, A...)`.
template <auto Function>
IMP implementationOf() {
  return reinterpret_cast<IMP>(&MethodEntry<Function>::code);
}
template <class R, class... A>
constexpr const char* encodingOfFunction(R (*)(id, SEL, A...)) {
  return methodEncoding<R, A...>.data();
}

}  // namespace platform

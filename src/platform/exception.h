#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/objc.h"

namespace platform {

inline constexpr const char* invalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char* rangeException = "NSRangeException";

/// The platform's exception object. Its "%@" text is its reason. Everything that the platform raises is one of these;
/// code that guards against the platform catches nothing else.
class Exception : public std::exception {
 public:
  Exception(std::string name, std::string reason) : name_(std::move(name)), reason_(std::move(reason)) {}

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const std::string& reason() const noexcept { return reason_; }
  [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

 private:
  std::string name_;
  std::string reason_;
};

/// "-[className selector]: unrecognized selector sent to instance 0x…" ("+[…" and "class" for a class's own method).
[[noreturn]] void raiseUnrecognizedSelector(const char* className, const char* selector, const void* receiver,
                                            bool isClassMethod = false);

/// Implemented by the backend: raises the exception being handled, as callers of our methods and blocks catch it. Where
/// they are not C++, one that is no Exception (std::bad_alloc, a fault in C++ code) becomes the platform's too: it
/// would skip their handlers, and no code there could say what happened.
[[noreturn]] void raiseToCaller(const std::exception& exception);

/// The entry from the runtime into our methods and blocks: what `work` raises leaves as the platform's exception.
template <class Work>
auto enter(const Work& work) {
  try {
    return work();
  } catch (const std::exception& exception) {
    raiseToCaller(exception);
  }
}

}  // namespace platform

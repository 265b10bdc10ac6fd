#include "pellion/run/stack_limit.h"

#include <cstddef>

#include "host/objc/programming_error.h"

namespace pellion {
namespace {

constexpr std::ptrdiff_t deepest = 256 << 10;  // bytes: plenty for calls that end, a small part of a stack

thread_local const char* stackBeginning = nullptr;

const char* currentFrame() { return static_cast<const char*>(__builtin_frame_address(0)); }

}  // namespace

StackLimit::StackLimit() : previous_(stackBeginning) { stackBeginning = currentFrame(); }
StackLimit::~StackLimit() { stackBeginning = previous_; }

void StackLimit::check() {
  if (stackBeginning != nullptr && stackBeginning - currentFrame() > deepest) {
    throw host::ProgrammingError("endless recursion has used up the stack");
  }
}

}  // namespace pellion

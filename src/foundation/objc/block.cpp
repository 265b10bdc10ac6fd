// Blocks with code and state of C++: the runtime's own, which Objective-C calls, copies and releases as any other.

#include "platform/block.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include "foundation/objc/block_layout.h"
#include "platform/programming_error.h"

extern "C" {

extern char _NSConcreteMallocBlock[];    // NOLINT(bugprone-reserved-identifier): the runtime's names
void* _Block_copy(const void* block);    // NOLINT(bugprone-reserved-identifier)
void _Block_release(const void* block);  // NOLINT(bugprone-reserved-identifier)

}  // extern "C"

namespace foundation {
namespace {

struct alignas(std::max_align_t) BlockWithState {
  foundation_Block head;
  void (*dispose)(void* state);
};

BlockWithState& blockWithState(id block) { return *reinterpret_cast<BlockWithState*>(block); }

// Never called: the block is on the heap from the beginning.
void copyNothing(void* /*to*/, const void* /*from*/) {}

void disposeOfState(const void* block) {
  const auto ended = reinterpret_cast<id>(const_cast<void*>(block));
  if (const auto dispose = blockWithState(ended).dispose) dispose(platform::blockState(ended));
}

}  // namespace
}  // namespace foundation

namespace platform {

id blockCreate(IMP invoke, std::size_t size, void (*dispose)(void* state)) {
  using foundation::BlockWithState;
  static constexpr foundation_BlockDescriptor descriptor{0, sizeof(BlockWithState), &foundation::copyNothing,
                                                         &foundation::disposeOfState};
  void* memory = std::malloc(sizeof(BlockWithState) + size);  // the runtime frees it
  if (memory == nullptr) throw std::bad_alloc();
  constexpr int flags = foundation_blockIsOnHeap | foundation_blockHasHelpers | 2;
  return reinterpret_cast<id>(new (memory)
                                  BlockWithState{{_NSConcreteMallocBlock, flags, 0, invoke, &descriptor}, dispose});
}
IMP blockInvoke(id block) {
  if (block == nullptr) programmingError("a null block was called");
  return foundation::blockWithState(block).head.invoke;
}
void* blockState(id block) { return &foundation::blockWithState(block) + 1; }
id blockCopy(id block) { return static_cast<id>(_Block_copy(block)); }
void blockRelease(id block) { _Block_release(block); }

}  // namespace platform

#include "platform/block.h"

#include "foundation/runtime/blocks.h"
#include "platform/programming_error.h"

namespace platform {

id blockCreate(IMP invoke, std::size_t size, void (*dispose)(void* state)) {
  return foundation_blockCreate(invoke, size, dispose);
}
IMP blockInvoke(id block) {
  if (block == nullptr) programmingError("a null block was called");
  return foundation_blockInvoke(block);
}
void* blockState(id block) { return foundation_blockState(block); }
id blockCopy(id block) { return foundation_blockCopy(block); }
void blockRelease(id block) { foundation_blockRelease(block); }

}  // namespace platform

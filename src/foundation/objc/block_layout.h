#pragma once

#include "foundation/objc/handles.h"

// The layout of a block, which the compiler writes (clang, "Block Implementation Specification") and every runtime with
// blocks knows. A block on the heap is counted in its flags, in steps of two.

enum {
  foundation_blockCounts = 0xfffe,
  foundation_blockIsOnHeap = 1 << 24,
  foundation_blockHasHelpers = 1 << 25,
  foundation_blockIsGlobal = 1 << 28
};

struct foundation_BlockDescriptor {
  unsigned long reserved;
  unsigned long size;
  void (*copy)(void *to, const void *from);
  void (*dispose)(const void *block);
};
struct foundation_Block {
  void *isa;
  int flags;
  int reserved;
  FoundationCode invoke;
  const struct foundation_BlockDescriptor *descriptor;
};

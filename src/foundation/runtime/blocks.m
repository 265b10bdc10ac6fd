// Repairs: blocks, for GCC's libobjc with GNUstep Base 1.28. That Foundation brings functions for blocks that do not
// retain what a block captures, and block classes that cannot receive a message. The functions and classes here take
// the place of those, for all code of the process. Not needed where a runtime has blocks of its own (libobjc2, a
// phone).
//
// The layout of variables is the one that the compiler writes, as that of blocks (block_layout.h).
#import "foundation/objc/block_layout.h"
#import "foundation/runtime/objects.h"
#import "foundation/runtime/repairs.h"

#include <stdlib.h>
#include <string.h>

enum {
  countMask = foundation_blockCounts,
  onHeap = foundation_blockIsOnHeap,
  hasHelpers = foundation_blockHasHelpers,
  isGlobal = foundation_blockIsGlobal
};
enum { fieldObject = 3, fieldBlock = 7, fieldVariable = 8, fromVariable = 128 };

/// A variable that is declared with __block.
struct Variable {
  void *isa;
  struct Variable *forwarding;
  int flags;
  int size;
  void (*keep)(struct Variable *to, struct Variable *from);
  void (*destroy)(struct Variable *variable);
};

@interface PLBlock : NSObject
@end
@interface PLStackBlock : PLBlock
@end
@interface PLMallocBlock : PLBlock
@end
@interface PLGlobalBlock : PLBlock
@end

// The names by which the compiler refers to the classes.
__asm__(".globl _NSConcreteStackBlock\n.set _NSConcreteStackBlock, _OBJC_CLASS_PLStackBlock\n"
        ".globl _NSConcreteMallocBlock\n.set _NSConcreteMallocBlock, _OBJC_CLASS_PLMallocBlock\n"
        ".globl _NSConcreteGlobalBlock\n.set _NSConcreteGlobalBlock, _OBJC_CLASS_PLGlobalBlock\n");
extern char _NSConcreteMallocBlock[];

static void *allocate(size_t size) {
  void *memory = malloc(size);
  if (memory == NULL) abort();
  return memory;
}

static void addReference(int *flags) { __atomic_add_fetch(flags, 2, __ATOMIC_RELAXED); }
static bool wasLastReference(int *flags) { return (__atomic_sub_fetch(flags, 2, __ATOMIC_ACQ_REL) & countMask) == 0; }

void *_Block_copy(const void *address) {
  struct foundation_Block *block = (struct foundation_Block *)address;
  if (block == NULL || (block->flags & isGlobal) != 0) return block;
  if ((block->flags & onHeap) != 0) {
    addReference(&block->flags);
    return block;
  }
  struct foundation_Block *copy = allocate(block->descriptor->size);
  memcpy(copy, block, block->descriptor->size);
  copy->flags = (block->flags & ~countMask) | onHeap | 2;
  copy->isa = _NSConcreteMallocBlock;
  if ((copy->flags & hasHelpers) != 0) copy->descriptor->copy(copy, block);
  return copy;
}

void _Block_release(const void *address) {
  struct foundation_Block *block = (struct foundation_Block *)address;
  if (block == NULL || (block->flags & onHeap) == 0 || !wasLastReference(&block->flags)) return;
  foundation_endSideData((id)block);
  if ((block->flags & hasHelpers) != 0) block->descriptor->dispose(block);
  free(block);
}

/// Returns the variable's copy on the heap, which the block's frame and all blocks share.
static struct Variable *variableCopy(struct Variable *variable) {
  struct Variable *shared = variable->forwarding;
  if ((shared->flags & onHeap) != 0) {
    addReference(&shared->flags);
    return shared;
  }
  struct Variable *copy = allocate((size_t)variable->size);
  memcpy(copy, variable, (size_t)variable->size);
  copy->flags = variable->flags | onHeap | 4;  // one reference of the frame, one of the block
  copy->isa = NULL;
  copy->forwarding = copy;
  variable->forwarding = copy;
  if ((variable->flags & hasHelpers) != 0) copy->keep(copy, variable);
  return copy;
}

static void variableRelease(struct Variable *variable) {
  struct Variable *shared = variable->forwarding;
  if ((shared->flags & onHeap) == 0 || !wasLastReference(&shared->flags)) return;
  if ((shared->flags & hasHelpers) != 0) shared->destroy(shared);
  free(shared);
}

// The compiler calls these two for each captured object, with flags that tell what it is. An object in a __block
// variable is not retained, as manual reference counting has it.
void _Block_object_assign(void *place, const void *object, const int flags) {
  const void *kept = object;
  if ((flags & fromVariable) == 0) {
    if ((flags & fieldVariable) != 0) {
      kept = variableCopy((struct Variable *)object);
    } else if ((flags & fieldBlock) == fieldBlock) {
      kept = _Block_copy(object);
    } else if ((flags & fieldBlock) == fieldObject) {
      kept = [(id)object retain];
    }
  }
  *(const void **)place = kept;
}

void _Block_object_dispose(const void *object, const int flags) {
  if ((flags & fromVariable) != 0) return;
  if ((flags & fieldVariable) != 0) {
    variableRelease((struct Variable *)object);
  } else if ((flags & fieldBlock) == fieldBlock) {
    _Block_release(object);
  } else if ((flags & fieldBlock) == fieldObject) {
    [(id)object release];
  }
}

@implementation PLBlock
- (id)copyWithZone:(NSZone *)zone {
  (void)zone;
  return _Block_copy(self);
}
- (id)copy {
  return _Block_copy(self);
}
- (id)retain {
  return _Block_copy(self);
}
- (oneway void)release {
  _Block_release(self);
}
- (NSUInteger)retainCount {
  const struct foundation_Block *block = (const struct foundation_Block *)self;
  return (block->flags & onHeap) != 0 ? (NSUInteger)(block->flags & countMask) / 2 : 1;
}
@end

// A block on the stack ends with its frame, whatever it is sent; code that keeps it copies it.
@implementation PLStackBlock
- (id)retain {
  return self;
}
- (oneway void)release {
}
- (id)autorelease {
  return self;
}
@end
@implementation PLMallocBlock
@end
@implementation PLGlobalBlock
- (id)autorelease {
  return self;
}
@end

const char *const *foundation_blockFunctions(size_t *count) {
  static const char *const names[] = {"_Block_copy", "_Block_release", "_NSConcreteStackBlock"};
  *count = sizeof names / sizeof *names;
  return names;
}

// GNUstep's headers include this one when blocks are switched on; neither GCC nor GNUstep Base has it. A runtime with
// blocks of its own does. foundation/runtime/blocks.m defines the functions.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
void *_Block_copy(const void *block);
void _Block_release(const void *block);
#ifdef __cplusplus
}
#endif
#ifndef Block_copy
#define Block_copy(block) ((__typeof(block))_Block_copy((const void *)(block)))
#define Block_release(block) _Block_release((const void *)(block))
#endif

#pragma once

// The types in the headers that join the two languages of this backend. Those headers declare plain C functions: a .m
// file sees the runtime's own id, Class and SEL, a .cpp file those of platform/objc.h. No file sees both.

#ifdef __OBJC__
#import <Foundation/Foundation.h>
#include <stdbool.h>
#define FOUNDATION_C extern
typedef void (*FoundationCode)(void);
#else
#include <cstddef>
#include <cstdint>

#include "platform/objc.h"
#define FOUNDATION_C extern "C"
using FoundationCode = IMP;
#endif

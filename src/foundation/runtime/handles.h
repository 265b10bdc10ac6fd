#pragma once

// The types in the headers that join the two languages of this backend. Those headers declare plain C functions: a .m
// file sees the runtime's own id, Class and SEL, a .cpp file those of platform/objc.h. No file sees both.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __OBJC__
#import <Foundation/Foundation.h>
#define FOUNDATION_C extern
#else
#include "platform/objc.h"
#define FOUNDATION_C extern "C"
#endif

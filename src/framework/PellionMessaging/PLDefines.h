#pragma once

#import <Foundation/Foundation.h>

// What the headers say to compilers that understand it, and what vanishes elsewhere: nullability and generics are
// clang's, and GCC reads the same headers.

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#ifndef __has_attribute
#define __has_attribute(attribute) 0
#endif

#if __has_feature(nullability)
#define PL_NULLABLE nullable
#define PL_BLOCK_NULLABLE _Nullable
#define PL_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define PL_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
// A property with several attributes.
#define PL_PROPERTY_NULLABLE , nullable
#else
#define PL_NULLABLE
#define PL_BLOCK_NULLABLE
#define PL_ASSUME_NONNULL_BEGIN
#define PL_ASSUME_NONNULL_END
#define PL_PROPERTY_NULLABLE
#endif

/// PL_GENERIC(NSDictionary, NSString *, id) is NSDictionary<NSString *, id>, or NSDictionary.
#if __has_feature(objc_generics)
#define PL_GENERIC(cls, ...) cls<__VA_ARGS__>
#else
#define PL_GENERIC(cls, ...) cls
#endif

#if __has_attribute(unavailable)
#define PL_UNAVAILABLE(instead) __attribute__((unavailable(instead)))
#else
#define PL_UNAVAILABLE(instead)
#endif

#if __has_attribute(objc_subclassing_restricted)
#define PL_FINAL __attribute__((objc_subclassing_restricted))
#else
#define PL_FINAL
#endif

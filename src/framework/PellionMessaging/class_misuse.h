#pragma once

#import <Foundation/Foundation.h>

/// Raises NSInvalidArgumentException for an attempt to make an instance of the class or of a subclass. `remedy` says
/// what to do instead, as in "use +[PLMessaging shared]".
void PLRefuseInstance(Class cls, SEL selector, NSString *remedy) __attribute__((noreturn));

/// The methods of an instance that lives as long as the process: a surplus release has no effect.
#define PL_IMMORTAL_INSTANCE                            \
  -(instancetype)retain {                               \
    return self;                                        \
  }                                                     \
  -(oneway void)release{} - (instancetype)autorelease { \
    return self;                                        \
  }                                                     \
  -(NSUInteger)retainCount {                            \
    return NSUIntegerMax;                               \
  }

/// Raises NSInvalidArgumentException when a class method of `restricted` was sent to a subclass.
void PLRefuseSubclass(Class cls, Class restricted, SEL selector);

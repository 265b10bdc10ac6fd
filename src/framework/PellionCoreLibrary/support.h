#pragma once

#import <PellionCoreLibrary/PellionCoreLibrary.h>

#import "framework/PellionCoreLibrary/library.h"

/// Called before each use: takes the main bundle's configuration into use unless there is one.
void PLCoreLibraryPrepare(void);
void PLCoreLibraryTell(NSString *actor, NSString *what, NSDictionary *details);
int64_t PLCoreLibraryMilliseconds(void);

/// A text of the configuration, after PLCoreLibraryPrepare.
NSString *PLCoreLibraryText(enum corelib_Text text);

/// A class method that returns the one instance.
#define PL_SHARED_INSTANCE(selector)          \
  +(instancetype)selector {                   \
    static id shared;                         \
    @synchronized([NSObject class]) {         \
      if (shared == nil) shared = [self new]; \
    }                                         \
    return shared;                            \
  }

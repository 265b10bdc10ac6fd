#pragma once

#include "foundation/objc/handles.h"

// Cases in Objective-C. Each runs in a process of its own, because the module changes classes and starts once.

struct framework_Case {
  const char *name;
  void (*run)(void);
  const char *logged;     ///< what standard error is expected to hold, as a regular expression; null: anything
  const char *lastWords;  ///< the same of the sentence with which the program is expected to end; null: it goes on
};
#define CASE(function) \
  { #function, function, NULL, NULL }
#define LOGS(function, words) \
  { #function, function, words, NULL }
#define ENDS(function, words) \
  { #function, function, NULL, words }
#define END_OF_CASES \
  { NULL, NULL, NULL, NULL }

FOUNDATION_C const struct framework_Case framework_faceCases[];
FOUNDATION_C const struct framework_Case framework_conflictCases[];
FOUNDATION_C const struct framework_Case framework_badCases[];
FOUNDATION_C const struct framework_Case framework_coreLibraryCases[];

/// How many checks have failed; each has written a line to standard error.
FOUNDATION_C int framework_failures(void);

#import "bench/soak/objc/live_objects.h"

#include <objc/runtime.h>

// <Foundation/NSDebug.h> hides them in a release.
extern BOOL GSDebugAllocationActive(BOOL active);
extern int GSDebugAllocationCount(Class cls);
extern Class *GSDebugAllocationClassList(void);

/// Calls `use` for each class that has had objects since soak_watchObjects.
static void forEachClass(void (^use)(Class cls, int count)) {
  Class *all = GSDebugAllocationClassList();
  for (Class *each = all; *each != Nil; ++each) use(*each, GSDebugAllocationCount(*each));
  NSZoneFree(NSDefaultMallocZone(), all);
}

void soak_watchObjects(void) { GSDebugAllocationActive(YES); }

static NSMutableDictionary *counts;

void soak_rememberObjects(void) {
  [counts release];
  counts = [NSMutableDictionary new];
  forEachClass(^(Class cls, int count) {
    [counts setObject:[NSNumber numberWithInt:count] forKey:NSStringFromClass(cls)];
  });
}

int soak_mostNewObjects(const char **className) {
  __block int most = 0;
  __block const char *name = "none";
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  forEachClass(^(Class cls, int count) {
    int grown = count - [[counts objectForKey:NSStringFromClass(cls)] intValue];
    if (grown > most) {
      most = grown;
      name = class_getName(cls);
    }
  });
  [pool drain];
  *className = name;
  return most;
}

static NSLog_printf_handler *printLine;
static void printUnlessURLWarning(NSString *line) {
  if ([line rangeOfString:@"PellionMessaging: no URL can be made of"].location == NSNotFound) printLine(line);
}
static void printToStandardError(NSString *line) { fputs([line UTF8String], stderr); }

void soak_discardURLWarnings(void) {
  printLine = _NSLog_printf_handler != NULL ? _NSLog_printf_handler : printToStandardError;
  _NSLog_printf_handler = printUnlessURLWarning;
}

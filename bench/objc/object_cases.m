#import "bench/objc/object_cases.h"

#import <Foundation/Foundation.h>

#import "bench/objc/stopwatch.h"

static void retainAndRelease(void *context, unsigned long times) {
  id object = context;
  for (unsigned long i = 0; i < times; ++i) {
    [object retain];
    [object release];
  }
}

static void makeAndEnd(void *context, unsigned long times) {
  Class cls = context;
  for (unsigned long i = 0; i < times; ++i) [[cls new] release];
}

double bench_objectCase(const char *name) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  [NSThread detachNewThreadSelector:@selector(class)
                           toTarget:[NSObject class]
                         withObject:nil];  // as in any application
  double measured = -1;
  if (strcmp(name, "retain_release") == 0) measured = bench_nanoseconds(retainAndRelease, [[NSObject new] autorelease]);
  if (strcmp(name, "life_of_object") == 0) measured = bench_nanoseconds(makeAndEnd, [NSObject class]);
  [pool drain];
  return measured;
}

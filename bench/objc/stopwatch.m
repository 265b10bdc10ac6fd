#import "bench/objc/stopwatch.h"

#include <time.h>

double bench_processorTime(void) {
  struct timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return (double)now.tv_sec * 1e9 + (double)now.tv_nsec;
}

double bench_nanoseconds(BenchLoop loop, void *context) {
  static const double least = 20e6;
  loop(context, 16);  // what is looked up once
  for (unsigned long times = 16;; times *= 2) {
    double begin = bench_processorTime();
    loop(context, times);
    double taken = bench_processorTime() - begin;
    if (taken >= least) return taken / (double)times;
  }
}

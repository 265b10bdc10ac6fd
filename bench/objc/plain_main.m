// A program without the backend: what objects cost in the runtime and Foundation as they are. Prints nanoseconds.
#include <stdio.h>

#import "bench/objc/object_cases.h"

int main(int argc, char **argv) {
  double measured = argc == 2 ? bench_objectCase(argv[1]) : -1;
  if (measured < 0) {
    fprintf(stderr, "usage: %s retain_release|life_of_object\n", argv[0]);
    return 2;
  }
  printf("%f\n", measured);
  return 0;
}

#include "platform/programming_error.h"

#include <cstdio>
#include <cstdlib>

void platform::programmingError(const std::string& mistake) {
  std::fprintf(stderr, "PellionMessaging: %s\n", mistake.c_str());
  std::abort();
}

#import "foundation/system/log_functions.h"

#include <dlfcn.h>

// The core library's functions. A program may be linked without it, so they are looked up.
typedef void (*LogFunction)(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                            NSString *format, ...);
extern void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                                  NSString *format, ...) __attribute__((weak));
extern void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                          NSString *format, ...) __attribute__((weak));

static LogFunction logFunction(bool isInternal) {
  static LogFunction loaded[2];  // found in a library that was loaded later; both threads that search find the same
  LogFunction linked = isInternal ? QLogExtensionInternal : QLogExtension;
  if (linked != NULL) return linked;
  LogFunction found = __atomic_load_n(&loaded[isInternal], __ATOMIC_RELAXED);
  if (found == NULL) {
    found = (LogFunction)dlsym(RTLD_DEFAULT, isInternal ? "QLogExtensionInternal" : "QLogExtension");
    __atomic_store_n(&loaded[isInternal], found, __ATOMIC_RELAXED);
  }
  return found;
}

bool foundation_hasLog(bool isInternal) { return logFunction(isInternal) != NULL; }

bool foundation_log(bool isInternal, const char *file, int line, const char *function, id marker, id tag, id text) {
  LogFunction log = logFunction(isInternal);
  if (log == NULL) return false;
  log(file, line, function, marker, tag, @"%@", text);
  return true;
}

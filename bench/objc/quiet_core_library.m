// A core library that keeps no log, for measurements: the module makes each line, and it goes no further. Nothing that
// is measured asks for more of a core library.
#import <Foundation/Foundation.h>

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...);
void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...);

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) {
  (void)file, (void)line, (void)function, (void)marker, (void)tag, (void)format;
}
void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...) {
  (void)file, (void)line, (void)function, (void)marker, (void)tag, (void)format;
}

// The internal log alone, as a program has it whose core library lacks the other log function.
#import <Foundation/Foundation.h>

#include <stdio.h>

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) NS_FORMAT_FUNCTION(6, 7);
void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) {
  (void)file, (void)line, (void)function, (void)marker;
  va_list arguments;
  va_start(arguments, format);
  NSString *text = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
  va_end(arguments);
  printf("%s: %s\n", [tag UTF8String], [text UTF8String]);
}

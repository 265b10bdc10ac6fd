// The log functions. The configuration's LOG_LEVEL decides which lines are written.
#import "framework/PellionCoreLibrary/support.h"

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) NS_FORMAT_FUNCTION(6, 7);
void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...) NS_FORMAT_FUNCTION(6, 7);

static void writeLine(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                      NSString *format, va_list arguments) {
  PLCoreLibraryPrepare();
  if (!corelib_logs(tag)) return;
  NSString *text = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
  NSDictionary *details =
      [NSDictionary dictionaryWithObjectsAndKeys:tag, @"tag", text, @"text", [NSString stringWithUTF8String:function],
                                                 @"function", [NSString stringWithUTF8String:file], @"file",
                                                 [NSNumber numberWithInt:line], @"line", marker, @"marker", nil];
  PLCoreLibraryTell(@"module", @"log", details);
}

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  writeLine(file, line, function, marker, tag, format, arguments);
  va_end(arguments);
}

void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...) {
  va_list arguments;
  va_start(arguments, format);
  writeLine(file, line, function, marker, tag, format, arguments);
  va_end(arguments);
}

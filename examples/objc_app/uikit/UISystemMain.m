#import "UISystemMain.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#import "UISystemEvents.h"

static double currentTime;

/// As the platform does: it kills an application, which cleans nothing up.
static void end(void) {
  fflush(NULL);
  _exit(0);
}

double UISystemTime(void) {
  double time;
  __atomic_load(&currentTime, &time, __ATOMIC_RELAXED);
  return time;
}

NSString *UISystemHexadecimal(NSData *bytes) {
  NSMutableString *text = [NSMutableString string];
  const unsigned char *each = [bytes bytes];
  for (NSUInteger i = 0; i < [bytes length]; ++i) [text appendFormat:@"%02x", each[i]];
  return text;
}

static NSData *bytesOf(NSString *hexadecimal) {
  NSMutableData *bytes = [NSMutableData data];
  for (NSUInteger i = 0; i + 1 < [hexadecimal length]; i += 2) {
    unsigned char byte =
        (unsigned char)strtoul([[hexadecimal substringWithRange:NSMakeRange(i, 2)] UTF8String], NULL, 16);
    [bytes appendBytes:&byte length:1];
  }
  return bytes;
}

void UISystemReport(NSString *actor, NSString *what, NSDictionary *details) {
  NSDictionary *event =
      [NSDictionary dictionaryWithObjectsAndKeys:actor, @"actor", what, @"what",
                                                 details != nil ? details : [NSDictionary dictionary], @"details", nil];
  NSData *line = [NSJSONSerialization dataWithJSONObject:event options:0 error:NULL];
  if (line == nil) NSLog(@"UISystemReport: no JSON can be made of %@", event);
  @synchronized([NSFileHandle class]) {
    fwrite([line bytes], 1, [line length], stdout);
    fputc('\n', stdout);
    fflush(stdout);
  }
}

/// What the classes of this folder tell, as events of the platform or the application.
static void reportOfSystem(NSString *what, id value) {
  NSString *name =
      [[NSDictionary dictionaryWithObjectsAndKeys:@"result", @"fetched", @"options", @"presents", @"number",
                                                  @"set badge", @"callback", @"undelivered", nil] objectForKey:what];
  BOOL hasNames = value == nil || [value isKindOfClass:[NSDictionary class]];
  NSDictionary *details =
      hasNames ? value : [NSDictionary dictionaryWithObject:value forKey:name != nil ? name : @"value"];
  UISystemReport([what isEqualToString:@"asks for a device token"] ? @"app" : @"platform", what, details);
}

@interface UISystemInput : NSObject {
 @private
  NSMutableData *_unread;
}
- (void)start;
@end

@implementation UISystemInput

- (void)start {
  _unread = [NSMutableData new];
  NSFileHandle *input = [NSFileHandle fileHandleWithStandardInput];
  [[NSNotificationCenter defaultCenter] addObserver:self
                                           selector:@selector(read:)
                                               name:NSFileHandleReadCompletionNotification
                                             object:input];
  [input readInBackgroundAndNotify];
}

- (void)read:(NSNotification *)notification {
  NSData *data = [[notification userInfo] objectForKey:NSFileHandleNotificationDataItem];
  if ([data length] == 0) end();  // no more events
  [_unread appendData:data];
  const char *begin = [_unread bytes];
  const char *end;
  while ((end = memchr(begin, '\n', [_unread length])) != NULL) {
    NSData *line = [NSData dataWithBytes:begin length:(NSUInteger)(end - begin)];
    [_unread replaceBytesInRange:NSMakeRange(0, [line length] + 1) withBytes:NULL length:0];
    [self handleLine:line];
    begin = [_unread bytes];
  }
  [[notification object] readInBackgroundAndNotify];
}

- (void)handleLine:(NSData *)line {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  NSDictionary *event = [NSJSONSerialization JSONObjectWithData:line options:0 error:NULL];
  if (![event isKindOfClass:[NSDictionary class]]) {
    NSLog(@"UIApplicationMain: an event must be a JSON object on a line: %s", (const char *)[line bytes]);
    exit(2);
  }
  if ([event objectForKey:@"time"] != nil) {
    double time = [[event objectForKey:@"time"] doubleValue];
    __atomic_store(&currentTime, &time, __ATOMIC_RELAXED);
  }
  @try {
    [self handleEvent:event];
  } @catch (NSException *exception) {
    UISystemReport(
        @"module", @"raised",
        [NSDictionary dictionaryWithObjectsAndKeys:[exception name], @"name", [exception reason], @"reason", nil]);
  }
  UISystemReport(@"system", @"done", nil);
  [pool drain];
}

- (void)handleEvent:(NSDictionary *)event {
  NSString *kind = [event objectForKey:@"event"];
  NSDictionary *payload = [event objectForKey:@"payload"];
  if ([kind isEqualToString:@"token"]) {
    UISystemDeliverDeviceToken(bytesOf([event objectForKey:@"token"]));
  } else if ([kind isEqualToString:@"foreground"]) {
    UISystemDeliverInForeground(payload);
  } else if ([kind isEqualToString:@"background"]) {
    UISystemDeliverInBackground(payload);
  } else if ([kind isEqualToString:@"response"]) {
    UISystemDeliverResponse(payload, [event objectForKey:@"action"]);
  } else if ([kind isEqualToString:@"active"]) {
    UISystemBecomeActive();
  } else if ([kind isEqualToString:@"action"]) {
    SEL action = NSSelectorFromString([event objectForKey:@"action"]);
    if (![[UIApplication sharedApplication] sendAction:action
                                                    to:nil
                                                  from:[event objectForKey:@"sender"]
                                              forEvent:nil]) {
      UISystemTell(@"undelivered", [event objectForKey:@"action"]);
    }
  } else if ([kind isEqualToString:@"wait"]) {
    NSDate *end = [NSDate dateWithTimeIntervalSinceNow:[[event objectForKey:@"seconds"] doubleValue]];
    [[NSRunLoop currentRunLoop] runUntilDate:end];
  } else if ([kind isEqualToString:@"end"]) {
    end();
  } else {
    NSLog(@"UIApplicationMain: there is no event \"%@\"; UISystemMain.h lists them", kind);
    exit(2);
  }
}

@end

int UIApplicationMain(int argc, char *argv[], NSString *principalClassName, NSString *delegateClassName) {
  (void)argc, (void)argv, (void)principalClassName;
  UISystemSetListener(^(NSString *what, id details) {
    reportOfSystem(what, details);
  });
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  id delegate = [NSClassFromString(delegateClassName) new];  // for the life of the program
  UIApplication *application = [UIApplication sharedApplication];
  [application setDelegate:delegate];
  if ([delegate respondsToSelector:@selector(application:didFinishLaunchingWithOptions:)]) {
    [delegate application:application didFinishLaunchingWithOptions:nil];
  }
  UISystemReport(@"system", @"done", nil);
  [[UISystemInput new] start];
  [pool drain];
  [[NSRunLoop currentRunLoop] run];
  return 0;
}

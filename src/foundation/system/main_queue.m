#import "foundation/system/main_queue.h"

// The common modes, in which the platform's main queue runs: GNUstep keeps no list of them. A run loop in a mode of the
// application's own does not run the queue.
static NSArray *commonModes(void) {
  static NSArray *modes;
  @synchronized([NSRunLoop class]) {
    if (modes == nil) {
      modes =
          [[NSArray alloc] initWithObjects:NSDefaultRunLoopMode, NSRunLoopCommonModes, @"NSEventTrackingRunLoopMode",
                                           @"NSModalPanelRunLoopMode", @"UITrackingRunLoopMode", nil];
    }
  }
  return modes;
}

@interface PLMainQueue : NSObject
@end

@implementation PLMainQueue
+ (void)turn {
  foundation_turnMainQueue();
}
+ (void)turnAt:(NSDate *)date {
  [self performSelector:@selector(turn) withObject:nil afterDelay:[date timeIntervalSinceNow] inModes:commonModes()];
}
@end

static void perform(SEL selector, id argument) {
  // On the main thread, without a run loop, Foundation would perform the selector inside the call.
  if ([NSThread isMainThread]) [NSRunLoop currentRunLoop];
  [[PLMainQueue class] performSelectorOnMainThread:selector withObject:argument waitUntilDone:NO modes:commonModes()];
}

void foundation_wakeMainQueue(void) { perform(@selector(turn), nil); }
void foundation_wakeMainQueueAfter(double seconds) {
  NSDate *date = [NSDate dateWithTimeIntervalSinceNow:seconds];
  if ([NSThread isMainThread]) {
    [PLMainQueue turnAt:date];
  } else {
    perform(@selector(turnAt:), date);
  }
}

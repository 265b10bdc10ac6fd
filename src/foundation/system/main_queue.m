#import "foundation/system/main_queue.h"

@interface PLMainQueue : NSObject
@end

// The common modes, in which the platform's main queue runs: GNUstep keeps no list of them. A run loop in a mode of the
// application's own does not run the queue.
static NSArray *commonModes(void) {
  static NSArray *modes;
  @synchronized([PLMainQueue class]) {
    if (modes == nil) {
      modes =
          [[NSArray alloc] initWithObjects:NSDefaultRunLoopMode, NSRunLoopCommonModes, @"NSEventTrackingRunLoopMode",
                                           @"NSModalPanelRunLoopMode", @"UITrackingRunLoopMode", nil];
    }
  }
  return modes;
}

@implementation PLMainQueue
+ (void)turn {
  foundation_turnMainQueue();
}
@end

void foundation_wakeMainQueue(void) {
  // On the main thread, without a run loop, Foundation would perform the selector inside the call.
  if ([NSThread isMainThread]) [NSRunLoop currentRunLoop];
  [[PLMainQueue class] performSelectorOnMainThread:@selector(turn) withObject:nil waitUntilDone:NO modes:commonModes()];
}
void foundation_wakeMainQueueAfter(double seconds) {
  [NSObject cancelPreviousPerformRequestsWithTarget:[PLMainQueue class] selector:@selector(turn) object:nil];
  [[PLMainQueue class] performSelector:@selector(turn) withObject:nil afterDelay:seconds inModes:commonModes()];
}

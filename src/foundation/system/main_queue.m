#import "foundation/system/main_queue.h"

@interface PLMainQueue : NSObject
@end

@implementation PLMainQueue
+ (void)turn {
  foundation_turnMainQueue();
}
+ (void)turnAt:(NSDate *)date {
  [self performSelector:@selector(turn) withObject:nil afterDelay:[date timeIntervalSinceNow]];
}
@end

static void perform(SEL selector, id argument) {
  // On the main thread, without a run loop, Foundation would perform the selector inside the call.
  if ([NSThread isMainThread]) [NSRunLoop currentRunLoop];
  [[PLMainQueue class] performSelectorOnMainThread:selector withObject:argument waitUntilDone:NO];
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

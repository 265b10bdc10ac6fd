#import "UISystemListener.h"

@interface UISystemWork : NSObject
@end
@implementation UISystemWork
+ (void)run:(void (^)(void))work {
  work();
}
@end

static UISystemListener currentListener;

void UISystemSetListener(UISystemListener listener) {
  UISystemListener former = currentListener;
  currentListener = [listener copy];
  [former release];
}
void UISystemTell(NSString *what, id details) {
  if (currentListener != nil) currentListener(what, details);
}
void UISystemRunLater(void (^work)(void)) {
  if ([NSThread isMainThread]) [NSRunLoop currentRunLoop];  // without one GNUstep would run the work at once
  [UISystemWork performSelectorOnMainThread:@selector(run:) withObject:[[work copy] autorelease] waitUntilDone:NO];
}

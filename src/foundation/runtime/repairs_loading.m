// Runs the repairs while the program is loaded, before its own code.
#import "foundation/objc/required_repairs.h"
#import "foundation/runtime/repairs.h"

void foundation_requireRepairs(void) { foundation_repairRuntime(); }

@interface PLRuntimeRepairs : NSObject
@end

@implementation PLRuntimeRepairs
+ (void)load {
  foundation_repairRuntime();
}
@end

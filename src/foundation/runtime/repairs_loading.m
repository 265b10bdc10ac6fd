// Runs the repairs before the program's first object exists.
#import "foundation/runtime/repairs.h"

void foundation_requireRepairs(void) { foundation_repairRuntime(); }

@interface PLRuntimeRepairs : NSObject
@end

@implementation PLRuntimeRepairs
+ (void)load {
  foundation_repairRuntime();
}
@end

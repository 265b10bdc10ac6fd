// The shop as a program. SHOP_CONFIGURATION names the core library's property list, SHOP_STORAGE the folder of its
// keychain; without them the core library uses the bundle's.
#import <PellionCoreLibrary/PellionCoreLibrary.h>
#import <UIKit.h>

#import "ShopDiary.h"

static BOOL setUpCoreLibrary(void) {
  NSDictionary *environment = [[NSProcessInfo processInfo] environment];
  NSString *configuration = [environment objectForKey:@"SHOP_CONFIGURATION"];
  NSString *storage = [environment objectForKey:@"SHOP_STORAGE"];
  if (configuration == nil || storage == nil) return YES;
  NSError *error = nil;
  BOOL isUsable = [PLCoreLibrary useConfigurationFile:configuration storage:storage error:&error];
  if (!isUsable) NSLog(@"%@", [error localizedDescription]);
  return isUsable;
}

int main(int argc, char *argv[]) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  if (!setUpCoreLibrary()) return 2;
  ShopBeginDiary();
  [pool drain];
  return UIApplicationMain(argc, argv, nil, @"AppDelegate");
}

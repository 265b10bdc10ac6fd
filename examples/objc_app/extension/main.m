// The shop's notification extension, a process of its own that shares the defaults of the App Group. Each argument is a
// notification that it received, ID:MILLISECONDS. It leaves an entry for each one, which the application sends when it
// becomes active, and reads the badge.
#import <UISystemMain.h>

static NSString *const appGroup = @"group.shop";
static NSString *const pendingKey = @"pellionDidReceivePushNotification";

static NSDictionary *entryOf(NSString *argument) {
  NSArray *parts = [argument componentsSeparatedByString:@":"];
  if ([parts count] != 2) return nil;
  NSNumber *identifier = [NSNumber numberWithLongLong:[[parts objectAtIndex:0] longLongValue]];
  NSNumber *timestamp = [NSNumber numberWithLongLong:[[parts objectAtIndex:1] longLongValue]];
  return [NSDictionary dictionaryWithObjectsAndKeys:identifier, @"notificationid", timestamp, @"timestamp",
                                                    [NSNumber numberWithInt:4], @"status", nil];
}

static NSUserDefaults *defaultsOfAccount(void) { return [NSUserDefaults standardUserDefaults]; }

int main(int argc, char *argv[]) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  NSUserDefaults *defaults = defaultsOfAccount();
  NSMutableDictionary *shared =
      [NSMutableDictionary dictionaryWithDictionary:[defaults persistentDomainForName:appGroup]];
  NSMutableArray *pending = [NSMutableArray arrayWithArray:[shared objectForKey:pendingKey]];
  for (int i = 1; i < argc; ++i) {
    NSDictionary *entry = entryOf([NSString stringWithUTF8String:argv[i]]);
    if (entry == nil) {
      NSLog(@"%s: give ID:MILLISECONDS", argv[i]);
      return 2;
    }
    [pending addObject:entry];
  }
  if (argc > 1) {
    [shared setObject:pending forKey:pendingKey];
    [defaults setPersistentDomain:shared forName:appGroup];
    [defaults synchronize];
    UISystemReport(@"shared store", @"stored",
                   [NSDictionary dictionaryWithObjectsAndKeys:pendingKey, @"key", pending, @"value", nil]);
  }
  id badge = [shared objectForKey:@"pellionBadgeCount"];
  UISystemReport(@"extension", @"reads badge",
                 [NSDictionary dictionaryWithObject:badge != nil ? badge : [NSNull null] forKey:@"badge"]);
  [pool drain];
  return 0;
}

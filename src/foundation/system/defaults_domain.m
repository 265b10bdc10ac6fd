#import "foundation/system/defaults_domain.h"

id foundation_defaultsLockPath(void) {
  NSString *folder = GSDefaultsRootForUser(NSUserName());
  BOOL isFolder = NO;
  BOOL exists = [[NSFileManager defaultManager] fileExistsAtPath:folder isDirectory:&isFolder];
  return exists && isFolder ? [folder stringByAppendingPathComponent:@".pellion.lock"] : nil;
}

static NSUserDefaults *upToDateDefaults(void) {
  NSUserDefaults *defaults = [NSUserDefaults standardUserDefaults];
  [defaults synchronize];  // reads what other processes have written
  return defaults;
}

id foundation_defaultsValue(id suite, id key) {
  return [[upToDateDefaults() persistentDomainForName:suite] objectForKey:key];
}

void foundation_setDefaultsValue(id suite, id key, id value) {
  NSUserDefaults *defaults = upToDateDefaults();
  NSMutableDictionary *domain = [NSMutableDictionary dictionaryWithDictionary:[defaults persistentDomainForName:suite]];
  [domain setObject:value forKey:key];
  [defaults setPersistentDomain:domain forName:suite];
  [defaults synchronize];
}

void foundation_synchronizeDefaults(void) { [[NSUserDefaults standardUserDefaults] synchronize]; }

#import "foundation/system/defaults_domain.h"

id foundation_defaultsLockPath(void) {
  NSString *folder = GSDefaultsRootForUser(NSUserName());
  BOOL isFolder = NO;
  BOOL exists = [[NSFileManager defaultManager] fileExistsAtPath:folder isDirectory:&isFolder];
  return exists && isFolder ? [folder stringByAppendingPathComponent:@".pellion.lock"] : nil;
}

static NSUserDefaults *defaultsOfAccount(void) { return [NSUserDefaults standardUserDefaults]; }

// GNUstep compares whole seconds to see whether another process has changed a domain, and misses a change in the same
// second. So the domain is read from its file, after this process's own changes were written there.
static NSDictionary *presentDomain(NSString *suite) {
  [defaultsOfAccount() synchronize];
  NSString *folder = GSDefaultsRootForUser(NSUserName());
  NSString *file = [[folder stringByAppendingPathComponent:suite] stringByAppendingPathExtension:@"plist"];
  NSDictionary *domain = [NSDictionary dictionaryWithContentsOfFile:file];
  return domain != nil ? domain : [defaultsOfAccount() persistentDomainForName:suite];
}

/// Foundation says nothing; the values live on in this process alone.
static void noteUnlessWritable(NSString *folder) {
  static BOOL isNoted;
  if (isNoted || [[NSFileManager defaultManager] isWritableFileAtPath:folder]) return;
  isNoted = YES;
  NSLog(
      @"PellionMessaging: the folder of the user defaults, %@, cannot be written, so what is stored there is lost when "
      @"the program ends, and no other process sees it; make it writable, or name another in GNUstep's configuration",
      folder);
}

id foundation_defaultsValue(id suite, id key) { return [presentDomain(suite) objectForKey:key]; }

void foundation_setDefaultsValue(id suite, id key, id value) {
  NSUserDefaults *defaults = defaultsOfAccount();
  NSMutableDictionary *domain = [NSMutableDictionary dictionaryWithDictionary:presentDomain(suite)];
  [domain setObject:value forKey:key];
  [defaults setPersistentDomain:domain forName:suite];
  [defaults synchronize];
  noteUnlessWritable(GSDefaultsRootForUser(NSUserName()));
}

void foundation_synchronizeDefaults(void) { [defaultsOfAccount() synchronize]; }
